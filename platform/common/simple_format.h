#pragma once

#include <cstdarg>
#include <cstddef>

/// A fast path for vsnprintf in the "C" locale: formats "%s", "%d", "%u" and "%x", the numbers with an optional width
/// up to 99, padded with blanks or zeros. `destSize` must not be 0. Returns the length, `DOES_NOT_FIT` if the text
/// doesn't fit, or `NOT_SIMPLE` for a null string or any other conversion. Unless it returns the length, the
/// text in `dest` is not terminated.
int FormatSimple(char* dest, size_t destSize, const char* format, std::va_list arguments);

constexpr int DOES_NOT_FIT = -1;
constexpr int NOT_SIMPLE = -2;
