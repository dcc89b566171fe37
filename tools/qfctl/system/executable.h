#pragma once

#include <string>

namespace qfctl {

/// True for an executable regular file.
bool IsExecutable(const std::string& path);

/// True when a shell would find the command in PATH.
bool IsInPath(const std::string& command);

}  // namespace qfctl
