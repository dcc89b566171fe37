#pragma once

#include <cstddef>
#include <string>

namespace qfctl {

/// Replaces each zero byte and each byte that is not valid UTF-8 with U+FFFD.
std::string ReplaceInvalidUtf8(const std::string& text);

/// Returns the width of a printable text in terminal columns.
size_t GetWidth(const std::string& text);

/// Returns the longest prefix of a printable text that fits into this number of columns.
std::string TruncateToWidth(const std::string& text, size_t columns);

bool IsValidUtf8(const std::string& text);

/// Returns true if the text is valid UTF-8 without control characters (U+0000 to U+001F, U+007F to U+009F).
bool IsPlainText(const std::string& text);

/// Returns true if the text is plain and holds no format character. Such a character is invisible, ends a line or
/// reorders the text around it.
bool IsPrintable(const std::string& text);

}  // namespace qfctl
