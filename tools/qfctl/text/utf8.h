#pragma once

#include <cstddef>
#include <string>

namespace qfctl {

/// The length of the valid UTF-8 sequence at `at`, ASCII included, and its code point; 0 when there is none.
size_t DecodeUtf8(const std::string& text, size_t at, char32_t& code);

/// The characters of valid UTF-8: about the columns that a terminal gives it.
size_t CountCharacters(const std::string& text);

/// The beginning of the text, up to so many characters.
std::string TruncateToWidth(const std::string& text, size_t characters);

/// True when the text is valid UTF-8 without control characters (U+0000 to U+001F, U+007F to U+009F).
bool IsPlainText(const std::string& text);

/// True when the text is plain and holds no format character either: none that is invisible, ends a line or reorders
/// what stands around it.
bool IsPrintable(const std::string& text);

}  // namespace qfctl
