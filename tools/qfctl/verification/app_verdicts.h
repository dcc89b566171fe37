#pragma once

#include <string>
#include <vector>

#include "input/app_list.h"
#include "report/verify_report.h"

namespace qfctl {

/// Why the device's tool bm does not answer; empty when it lists the installed bundles.
std::string CheckBundleTool();

/// Asks bm again about the apps that failed: the commands of a run don't tell its failure, or that of a shell, from an
/// app that is absent. Says of the first verdict that can't be trusted why not; empty when all can.
std::string CheckAppVerdicts(const std::vector<VerifiedItem>& items, const std::vector<App>& apps);

}  // namespace qfctl
