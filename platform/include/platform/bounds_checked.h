/// Bounds-checked string functions.
///
/// Supplied by: the device's C library or SDK, or the bundled ports (platform/common). An executable may also define
/// them itself and thereby takes the place of either.
///
/// The library promises: pointers are valid and texts end in a zero byte. `destSize` is the size of the whole buffer
/// and may be larger than what is left of it behind `dest`, so an implementation must take it as it is and never
/// compare it with the size of the object.
///
/// The library relies on: nothing is written past `destSize` bytes, and a call that doesn't fit reports failure; with a
/// `destSize` of 0 nothing fits and nothing is written. `sprintf_s` formats as in the "C" locale, whatever locale the
/// process has set, since programs read the file log. All functions may be called from any thread.
#pragma once

#include <cstddef>

/// Formats into `dest`. Returns the number of characters written, the ending zero byte not counted; negative
/// when the text doesn't fit or can't be formatted, `dest` is then the empty text.
extern "C" [[gnu::visibility("default")]] int sprintf_s(char* dest, size_t destSize, const char* format, ...);

/// Copies `src`. Returns 0, or an error number when it doesn't fit; `dest` is then the empty text.
extern "C" [[gnu::visibility("default")]] int strcpy_s(char* dest, size_t destSize, const char* src);

/// Appends `src`. Returns 0, or an error number when it doesn't fit; `dest` is then the empty text.
extern "C" [[gnu::visibility("default")]] int strcat_s(char* dest, size_t destSize, const char* src);

/// Sets `count` bytes. Returns 0, or an error number when `count` exceeds `destSize`; all `destSize` bytes are then
/// set.
extern "C" [[gnu::visibility("default")]] int memset_s(void* dest, size_t destSize, int value, size_t count);
