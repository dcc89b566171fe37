/// What the figures were measured on.
#pragma once

#include <string>

namespace bench {

/// Rows of a Markdown table: processor, kernel, distribution, compiler, date.
std::string DescribeMachine();

}  // namespace bench
