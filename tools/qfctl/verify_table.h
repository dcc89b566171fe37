#pragma once

#include <ostream>
#include <vector>

#include "verify_report.h"

/// A table of verdict, live path and, for each failing check, the live value beside the patch value; then a
/// line that sums it up.
void PrintTable(std::ostream& out, const std::vector<VerifiedItem>& items, bool colour);
