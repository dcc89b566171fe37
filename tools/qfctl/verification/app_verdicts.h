#pragma once

#include <string>
#include <vector>

#include "input/app_list.h"
#include "report/results.h"

namespace qfctl {

/// Throws Failure when the device's tool bm does not list the installed bundles.
void CheckBundleTool();

/// Asks bm again about the apps that failed: the commands of a run don't tell its failure, or that of a shell, from an
/// app that is absent. Throws Failure at the first verdict that can't be trusted.
void CheckAppVerdicts(const std::vector<ItemResult>& results, const std::vector<App>& apps);

}  // namespace qfctl
