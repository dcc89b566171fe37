#pragma once

#include <string>

#include "report/identity.h"
#include "report/results.h"

namespace qfctl {

/// Renders a self-contained page: where and when it was made, totals, failures first with the differing part of each value
/// marked, and a filter, which the address can hold too (page.html#filter=text&failures).
std::string RenderHtml(const Results& results, const Identity& identity);

}  // namespace qfctl
