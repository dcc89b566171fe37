#pragma once

#include <string>
#include <vector>

namespace qfctl {

struct OverlayScan {
    std::vector<std::string> files;        // live paths of the regular files
    std::vector<std::string> unsafeNames;  // paths that a shell would interpret or split
};

/// Throws Failure, with one message per error, if a part of the overlay can't be read.
OverlayScan ScanOverlay(const std::string& overlay);

/// Throws Failure, with one message per error, if shell commands can't verify every file of the overlay.
void CheckForShell(const OverlayScan& scan, const std::string& overlay);

/// Throws Failure for a pipe, a device or a socket, and for a file or directory that can't be read. Accepts a missing
/// file.
void CheckReadable(const std::string& path);

/// Returns true if no shell interprets or splits the name and JSON can hold it: ASCII letters, digits, "_-.+,:@%=", and
/// UTF-8 beyond ASCII except control characters.
bool IsSafeName(const std::string& name);

}  // namespace qfctl
