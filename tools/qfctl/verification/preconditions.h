#pragma once

#include <string>
#include <vector>

#include "input/app_list.h"

namespace qfctl {

/// Returns the files of the overlay. Throws Failure if they can't be verified.
std::vector<std::string> PrepareFileRun(const std::string& overlay, bool usesShell);

/// Throws Failure if the apps can't be verified.
void CheckAppPreconditions(const std::vector<App>& apps);

}  // namespace qfctl
