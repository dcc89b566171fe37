#pragma once

#include <string>

#include "report/results.h"

namespace qfctl {

/// Reads the files of a native run again and compares them with the verdicts. Throws Failure at the first verdict that
/// can't be trusted.
void CheckFileVerdicts(const std::vector<ItemResult>& files, const std::string& overlay);

}  // namespace qfctl
