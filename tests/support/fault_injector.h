#pragma once

/// Makes chosen calls of one function fail: a C library function, the system call `openat2`, or the port's `sprintf_s`.
/// The name covers all entry points of a function, such as `fopen64` for `fopen`. A program links this library, or
/// preloads it with QUICKFIX_FAULT="CALL FIRST COUNT ERROR DIRECTORY", for example "write 3 1 28 /tmp/reached". The
/// first chosen call creates the directory. With a negative error, a signal is raised before the call, which then does
/// not fail: -2 is SIGINT.
namespace FaultInjector {

/// Makes calls `first` to `first + count - 1` of `call` fail with `error`, counted from now.
[[gnu::visibility("default")]] void Fail(const char* call, int first, int count, int error);

/// From now on, calls `before` before each call of `call`.
[[gnu::visibility("default")]] void Watch(const char* call, void (*before)());

/// Ends the failures and the calls of `before`. Returns true if any call failed.
[[gnu::visibility("default")]] bool End();

}  // namespace FaultInjector
