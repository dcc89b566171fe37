#pragma once

#include <cstddef>
#include <string>

namespace qfctl {

/// The text with U+FFFD in place of zero bytes and of each byte that is not valid UTF-8.
std::string ReplaceInvalidUtf8(const std::string& text);

/// The columns that a terminal gives the text, which is printable.
size_t GetWidth(const std::string& text);

/// The beginning of a printable text, up to so many columns.
std::string TruncateToWidth(const std::string& text, size_t columns);

bool IsValidUtf8(const std::string& text);

/// True when the text is valid UTF-8 without control characters (U+0000 to U+001F, U+007F to U+009F).
bool IsPlainText(const std::string& text);

/// True when the text is plain and does not hold a format character either, which is invisible, ends a line or reorders
/// the text around it.
bool IsPrintable(const std::string& text);

}  // namespace qfctl
