#pragma once

#include <ostream>
#include <string>

#include "report/results.h"

namespace qfctl {

/// A table a run: verdict, live path or bundle, and for each failing check the live value beside the patch value; then
/// a line that sums it up. A run without items is left out.
void PrintTable(std::ostream& out, const Results& results, bool hasColor);

/// A value as people see it: "(none)" when there is none, digests shortened, control and format characters escaped.
std::string ShownValue(const std::string& check, const std::string& value);

}  // namespace qfctl
