#pragma once

#include <string>

namespace TEKLO::Platform {

/// Returns the local time, such as "2026-03-01 09:05:07.004". Any thread may call it, even in a child that was forked
/// while other threads were calling it.
std::string FormatLocalTime();

}  // namespace TEKLO::Platform
