#pragma once

#include <string>

namespace qfctl {

/// The text in double quotes with quotes, backslashes and all but printable ASCII escaped: one visible line that is safe
/// to print on any terminal.
std::string Quote(const std::string& text);

/// The text itself when it is valid UTF-8 without control and format characters, else quoted.
std::string QuoteIfUnprintable(const std::string& text);

/// Escapes the control characters of JSON text that was concatenated without escapes.
std::string EscapeJsonControls(const std::string& json);

}  // namespace qfctl
