#pragma once

#include <string>
#include <vector>

#include "input/app_list.h"
#include "report/results.h"

namespace qfctl {

/// Throws Failure if `bm dump -a` fails.
void CheckBundleTool();

/// Queries bm again for each app, because in a run a failure of bm or the shell looks like a missing app. Throws
/// Failure at the first verdict that can't be trusted.
void CheckAppVerdicts(const std::vector<ItemResult>& results, const std::vector<App>& apps);

}  // namespace qfctl
