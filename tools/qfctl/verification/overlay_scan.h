#pragma once

#include <string>
#include <vector>

namespace qfctl {

/// What a look at the overlay found before anything of it is handed to a shell.
struct OverlayScan {
    std::vector<std::string> files;        // the live paths of its regular files
    std::vector<std::string> unsafeNames;  // paths that a shell would interpret or split, or the report can't carry
    std::vector<std::string> errors;       // what else keeps the overlay from being verified whole, as sentences
};

OverlayScan ScanOverlay(const std::string& overlay);

/// Why a file can't be compared; empty when it can, or is absent.
std::string CheckReadable(const std::string& path);

/// True when every shell takes the name as it stands and JSON can carry it: ASCII letters, digits and
/// "_-.+,:@%=", and UTF-8 beyond ASCII but for control characters.
bool IsSafeName(const std::string& name);

}  // namespace qfctl
