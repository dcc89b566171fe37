#pragma once

#include <string>

#include "report/results.h"

namespace qfctl {

/// The report object: the fragments of the runs in braces, with the names and values escaped, which the library leaves as
/// they are. Throws Failure when the fragments do not hold the results.
std::string MakeReportObject(const std::string& fragments, const Results& results);

}  // namespace qfctl
