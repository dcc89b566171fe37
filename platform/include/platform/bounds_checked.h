/// Bounds-checked string functions.
///
/// Supplied by: the device's C library or SDK, or a bundled port (platform/common). A program may define the functions
/// itself to replace them.
///
/// The library promises: pointers are valid and strings end in a zero byte. `destSize` is the size of the whole
/// buffer. It may be larger than the space after `dest`, so an implementation must not compare it with the size of the
/// object.
///
/// The library relies on: no byte is written past `destSize` bytes, and a call that doesn't fit fails. If `destSize` is
/// 0, no text fits and no byte is written. `sprintf_s` always formats as in the "C" locale, because programs parse the
/// file log.
///
/// Threads: any thread may call any function.
#pragma once

#include <cstddef>

/// Formats into `dest`. Returns the number of bytes written, without the zero byte. If the text doesn't fit or can't be
/// formatted, returns a negative number and sets `dest` to "".
extern "C" [[gnu::visibility("default")]] int sprintf_s(char* dest, size_t destSize, const char* format, ...);

/// Copies `src`. Returns 0. If it doesn't fit, returns an error number and sets `dest` to "".
extern "C" [[gnu::visibility("default")]] int strcpy_s(char* dest, size_t destSize, const char* src);

/// Appends `src`. Returns 0. If it doesn't fit, returns an error number and sets `dest` to "".
extern "C" [[gnu::visibility("default")]] int strcat_s(char* dest, size_t destSize, const char* src);

/// Sets `count` bytes. Returns 0. If `count` exceeds `destSize`, returns an error number and sets `destSize` bytes.
extern "C" [[gnu::visibility("default")]] int memset_s(void* dest, size_t destSize, int value, size_t count);
