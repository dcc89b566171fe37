/// The platform log.
///
/// Supplied by: the device's SDK, or a bundled port (platform/linux, platform/memory). A program may define PlumePrint
/// itself to replace it.
///
/// The library promises: `format` is a printf format whose conversions may have a privacy marker after the percent
/// sign, as in `%{public}s` and `%{private}d`. The arguments match it. One call is one record.
///
/// The library relies on: the call returns and doesn't throw. Any thread may call it, even during exit or in a child
/// that was forked while other threads were logging. The function must not write to the library's file log and must not
/// fork: the library holds the lock of the file log during some calls, and a fork waits for it.
#pragma once

/// Writes one record.
///
/// `type` 3 is the system log. `level` is 3 for debug, 4 for info, 5 for warning, 6 for error. `domain` and `tag`
/// identify the program. The library ignores the result; the Linux port returns the length of the formatted text.
extern "C" [[gnu::visibility("default")]] int PlumePrint(int type, int level, unsigned int domain, const char* tag,
                                                         const char* format, ...);
