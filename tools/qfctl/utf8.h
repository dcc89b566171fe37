#pragma once

#include <cstddef>
#include <string>

/// The length of the UTF-8 sequence at `at`, ASCII included; 0 when there is no valid one, or a control character
/// (U+0000 to U+001F, U+007F to U+009F).
size_t PrintableLength(const std::string& text, size_t at);

/// The characters of valid UTF-8: about the columns that a terminal gives it.
size_t CountCharacters(const std::string& text);

/// The beginning of the text, up to so many characters.
std::string FirstColumns(const std::string& text, size_t characters);

/// True when the text is valid UTF-8 without control characters.
bool IsPrintable(const std::string& text);
