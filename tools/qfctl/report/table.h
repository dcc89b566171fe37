#pragma once

#include <ostream>
#include <string>

#include "report/results.h"

namespace qfctl {

/// Prints a table per run: verdict, live path or bundle, and for each failed check the live and the patch value; then a
/// line with the totals. With `failuresOnly` items that passed are counted, but not shown. A run without items is omitted.
void PrintTable(std::ostream& out, const Results& results, bool failuresOnly, bool hasColor);

/// Formats a value: "(none)" or "(unreadable)" if empty, control and format characters escaped.
std::string WholeValue(const Difference& difference, const std::string& value);

/// The same with digests shortened.
std::string ShownValue(const Difference& difference, const std::string& value);

}  // namespace qfctl
