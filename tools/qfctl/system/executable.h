#pragma once

#include <string>

namespace qfctl {

/// Returns true for an executable regular file.
bool IsExecutable(const std::string& path);

/// Returns true if a shell would find the command in PATH.
bool IsInPath(const std::string& command);

}  // namespace qfctl
