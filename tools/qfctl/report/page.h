#pragma once

#include <string>

#include "report/identity.h"
#include "report/results.h"

namespace qfctl {

/// Renders a self-contained HTML page with the identity of the system, the totals, the items (failures first,
/// differences highlighted) and a filter. The URL can set the filter: page.html#filter=text&failures.
std::string RenderHtml(const Results& results, const Identity& identity);

}  // namespace qfctl
