/// The system's parameter store.
///
/// Supplied by: the device's SDK, or a bundled port (platform/linux, platform/memory). An executable may also define
/// GetParameter itself and thereby takes the place of either.
///
/// The library promises: pointers are valid, `length` is the size of the buffer, which is zeroed.
///
/// The library relies on: nothing is written past `length` bytes, the buffer always ends in a zero byte, a longer value
/// is cut. It may be called from any thread.
#pragma once

/// Copies the parameter's value, or `defaultValue` when it isn't set, into the buffer. Returns the positive length of
/// what was copied, or 0 when it is empty, or a negative code.
///
/// The Linux port reads lines of `key=value` from /etc/quickfix/parameters.conf, or from the file that the environment
/// variable QUICKFIX_PARAMETERS names (not in a set-user-id process). Blanks around key and value don't count, lines
/// that begin with `#` are comments, other lines without a key or `=` are passed over, the last line of a key wins. A
/// missing file is an empty store, one that can't be read gives -1.
extern "C" [[gnu::visibility("default")]] int GetParameter(const char* key, const char* defaultValue, char* value,
                                                           unsigned int length);
