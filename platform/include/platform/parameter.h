/// The system's parameter store.
///
/// Supplied by: the device's SDK, or a bundled port (platform/linux, platform/memory). A program may define
/// GetParameter itself to replace it.
///
/// The library promises: pointers are valid, and `value` has `length` zeroed bytes.
///
/// The library relies on: no byte is written past `length` bytes, the buffer always ends in a zero byte, and a longer
/// value is cut. Any thread may call the function.
#pragma once

/// Copies the value of `key` to `value`, or `defaultValue` if the key is not set. Returns the length of the copied
/// text, 0 if it is empty, or a negative code on failure.
///
/// At every call, the Linux port reads /etc/quickfix/parameters.conf, or the file that the environment variable
/// QUICKFIX_PARAMETERS names. A set-user-id process ignores the variable. Each line is `key=value`; blanks around both
/// are ignored. Lines that start with `#`, and lines without `=`, are ignored. If several lines set a key, the last one
/// counts. If the file is missing, no key is set. If it can't be read, the result is -1.
extern "C" [[gnu::visibility("default")]] int GetParameter(const char* key, const char* defaultValue, char* value,
                                                           unsigned int length);
