#pragma once

#include <cstddef>

namespace qfctl {

bool IsTerminal(int descriptor);

/// True for a terminal, unless NO_COLOR is set to anything but an empty text.
bool SupportsColor(int descriptor);

/// The columns of a terminal; 80 when it does not tell.
size_t GetTerminalWidth(int descriptor);

}  // namespace qfctl
