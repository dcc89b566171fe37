#pragma once

#include <string>
#include <vector>

#include "input/app_list.h"

namespace qfctl {

/// Returns the live paths of the overlay's files. Throws Failure if a folder can't be read or there is no file.
std::vector<std::string> ListFiles(const std::string& overlay);

/// Like ListFiles, for a run through the shell. Also throws Failure if shell commands can't verify the files.
std::vector<std::string> PrepareShellRun(const std::string& overlay);

/// Throws Failure if the apps can't be verified.
void CheckAppPreconditions(const std::vector<App>& apps);

}  // namespace qfctl
