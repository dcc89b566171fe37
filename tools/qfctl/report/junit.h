#pragma once

#include <string>

#include "report/identity.h"
#include "report/results.h"

namespace qfctl {

/// Renders JUnit XML: a test suite per run, with the identity as properties, and a test case per item. A failed item
/// has a failure, an inconclusive item an error, each with one line per difference.
std::string RenderJunit(const Results& results, const Identity& identity);

}  // namespace qfctl
