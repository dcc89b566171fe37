#pragma once

#include <string>

namespace qfctl {

/// Returns the text in double quotes. Escapes quotes, backslashes and everything except printable ASCII, so the result
/// is one line that is safe to print on any terminal.
std::string Quote(const std::string& text);

/// Returns the text itself if it is valid UTF-8 without control and format characters, otherwise `Quote(text)`.
std::string QuoteIfUnprintable(const std::string& text);

/// Escapes the text for a JSON string. JSON can't hold invalid UTF-8, so a text that is not UTF-8 is quoted first.
std::string EscapeJson(const std::string& text);

/// Escapes the characters that are special in HTML and XML.
std::string EscapeMarkup(const std::string& text);

/// Escapes the text for XML content or an attribute. A text that `QuoteIfUnprintable` would quote, or that XML 1.0
/// can't hold, is quoted first.
std::string EscapeXml(const std::string& text);

}  // namespace qfctl
