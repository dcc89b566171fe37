#pragma once

#include <string>

#include "report/verify_report.h"

namespace qfctl {

/// Holds the verdicts of a native run against the files as they are now, read to their ends. Says of the first verdict
/// that can't be trusted why not; empty when all can.
std::string CheckFileVerdicts(const std::vector<VerifiedItem>& files, const std::string& overlay);

}  // namespace qfctl
