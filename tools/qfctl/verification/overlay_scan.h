#pragma once

#include <string>
#include <vector>

namespace qfctl {

struct OverlayScan {
    std::vector<std::string> files;        // the live paths of the regular files
    std::vector<std::string> unsafeNames;  // paths with a name that a shell would interpret or split
};

/// Throws Failure, with a message for each reason, when a part of the overlay can't be read.
OverlayScan ScanOverlay(const std::string& overlay);

/// Throws Failure, with a message for each reason, when the shell's commands can't verify all of the overlay.
void CheckForShell(const OverlayScan& scan, const std::string& overlay);

/// Throws Failure when a file can't be compared; an absent one can.
void CheckReadable(const std::string& path);

/// True when every shell takes the name as it stands and JSON can carry it: ASCII letters, digits and
/// "_-.+,:@%=", and UTF-8 beyond ASCII except control characters.
bool IsSafeName(const std::string& name);

}  // namespace qfctl
