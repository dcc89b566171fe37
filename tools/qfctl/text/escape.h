#pragma once

#include <string>

namespace qfctl {

/// The text in double quotes with quotes, backslashes and all but printable ASCII escaped: one visible line that is safe
/// to print on any terminal.
std::string Quote(const std::string& text);

/// The text itself when it is valid UTF-8 without control and format characters, else quoted.
std::string QuoteIfUnprintable(const std::string& text);

/// The text as it stands between the quotes of a JSON string. A text that is not valid UTF-8, which JSON can't hold, is
/// quoted as above first.
std::string EscapeJson(const std::string& text);

/// The text with the characters escaped that are special in HTML and XML.
std::string EscapeMarkup(const std::string& text);

/// The text as it stands in XML, where an attribute can hold it too. A text that `QuoteIfUnprintable` would quote, or that
/// XML 1.0 can't hold, is quoted first.
std::string EscapeXml(const std::string& text);

}  // namespace qfctl
