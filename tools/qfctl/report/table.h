#pragma once

#include <ostream>
#include <string>

#include "report/results.h"

namespace qfctl {

/// Prints a table per run: verdict, live path or bundle, and for each failed check the live and the patch value; then a
/// line with the totals. A run without items is omitted.
void PrintTable(std::ostream& out, const Results& results, bool hasColor);

/// Formats a value: "(none)" if empty, digests shortened, control and format characters escaped.
std::string ShownValue(const Difference& difference, const std::string& value);

}  // namespace qfctl
