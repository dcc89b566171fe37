#pragma once

#include <cstddef>

namespace qfctl {

bool IsTerminal(int descriptor);

/// Returns true for a terminal, unless NO_COLOR is set and not empty.
bool SupportsColor(int descriptor);

/// Returns the width of the terminal in columns, or 80 if it is unknown.
size_t GetTerminalWidth(int descriptor);

}  // namespace qfctl
