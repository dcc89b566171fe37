#pragma once

#include <string>

#include "report/results.h"

namespace qfctl {

/// Returns the report object, which is `fragments` enclosed in braces. Escapes the names and values of files, because
/// the library does not. Throws Failure if the fragments do not list the files of `results`.
std::string MakeReportObject(const std::string& fragments, const Results& results);

}  // namespace qfctl
