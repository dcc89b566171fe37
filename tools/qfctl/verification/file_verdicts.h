#pragma once

#include <string>

#include "report/results.h"

namespace qfctl {

/// Compares the verdicts of a native run with the files as they are now, read to their ends. Throws Failure at the first
/// verdict that can't be trusted.
void CheckFileVerdicts(const std::vector<ItemResult>& files, const std::string& overlay);

}  // namespace qfctl
