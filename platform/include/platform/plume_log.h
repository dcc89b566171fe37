/// The platform log.
///
/// Supplied by: the device's SDK, or a bundled port (platform/linux, platform/memory). An executable may also define
/// PlumePrint itself and thereby takes the place of either.
///
/// The library promises: `format` is a printf format whose conversions may carry a privacy marker behind the percent
/// sign, `%{public}s` or `%{private}d`; the arguments fit it in number and kind. One call is one record.
///
/// The library relies on: the call returns, never throws, and may come from any thread, also while the
/// process exits, and from a child that was forked while other threads were writing records. It must neither write to the
/// library's file log nor fork: that log is locked during some of these calls, and a fork waits for it.
#pragma once

/// Writes one record.
///
/// `type` 3 is the system log, `level` is 3 debug, 4 info, 5 warning or 6 error, `domain` and `tag` say who
/// writes. What is returned is not looked at; the Linux port returns the length of the rendered text.
extern "C" [[gnu::visibility("default")]] int PlumePrint(int type, int level, unsigned int domain, const char* tag,
                                                         const char* format, ...);
