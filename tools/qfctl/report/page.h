#pragma once

#include <string>

#include "report/results.h"

namespace qfctl {

/// One self-contained page: totals, a bar of passed and failed, failures first with live value beside patch value and the
/// difference marked, and a filter, which the address can carry too (page.html#filter=text).
std::string RenderHtml(const Results& results);

}  // namespace qfctl
