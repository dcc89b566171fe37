#pragma once

#include <string>

namespace qfctl {

/// The text in double quotes with quotes, backslashes and all but printable ASCII escaped: one line, harmless on any
/// terminal, and nothing of it invisible.
std::string Quote(const std::string& text);

/// The text itself when it is valid UTF-8 without control and format characters, else quoted.
std::string QuoteIfUnprintable(const std::string& text);

/// JSON text made by plain concatenation, with control characters escaped as JSON wants them.
std::string EscapeJsonControls(const std::string& json);

}  // namespace qfctl
