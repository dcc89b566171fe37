#pragma once

#include <string>
#include <vector>

#include "input/app_list.h"

namespace qfctl {

/// Lists the files of the overlay. Throws Failure when they can't be verified, through a shell or without one.
std::vector<std::string> PrepareFileRun(const std::string& overlay, bool usesShell);

/// Throws Failure when the apps can't be verified.
void CheckAppPreconditions(const std::vector<App>& apps);

}  // namespace qfctl
