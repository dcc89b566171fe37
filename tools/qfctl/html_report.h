#pragma once

#include <string>

#include "verify_report.h"

/// One self-contained page: totals, a bar of passed and failed, failures first with live value beside patch value and the
/// difference marked, and a filter, which the address can carry too (page.html#filter=text).
std::string RenderHtml(const VerifyReport& report);
