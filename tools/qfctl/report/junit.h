#pragma once

#include <string>

#include "report/identity.h"
#include "report/results.h"

namespace qfctl {

/// Renders JUnit XML: a test suite per run that was made, with the identity as its properties, and a test case per item.
/// A failed item is a failure, an inconclusive one an error, with the values of each check on a line.
std::string RenderJunit(const Results& results, const Identity& identity);

}  // namespace qfctl
