#pragma once

#include <cstdarg>
#include <cstddef>

/// A fast path for vsnprintf in the "C" locale: formats "%s", "%d", "%u" and "%x", the numbers with an optional width.
/// Returns the length, `DOES_NOT_FIT`, or `NOT_SIMPLE` for a format with any other conversion.
int FormatSimple(char* dest, size_t destSize, const char* format, std::va_list arguments);

constexpr int DOES_NOT_FIT = -1;
constexpr int NOT_SIMPLE = -2;
