#pragma once

#include <string>

#include "report/results.h"

namespace qfctl {

/// Renders a self-contained page: totals, failures first with the differing part of each value marked, and a filter, which
/// the address can hold too (page.html#filter=text).
std::string RenderHtml(const Results& results);

}  // namespace qfctl
