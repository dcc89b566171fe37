#pragma once

#include <ostream>
#include <string>

#include "report/results.h"

namespace qfctl {

/// Prints a table per run and a line with its totals. Each item has its verdict, its live path or bundle, and both
/// values of each difference. With `failuresOnly`, passed items are counted but not shown. A run without items is
/// omitted.
void PrintTable(std::ostream& out, const Results& results, bool failuresOnly, bool hasColor);

/// Formats a value: "(none)" or "(unreadable)" if empty, control and format characters escaped.
std::string WholeValue(const Difference& difference, const std::string& value);

/// Like `WholeValue`, but shortens digests.
std::string ShownValue(const Difference& difference, const std::string& value);

}  // namespace qfctl
