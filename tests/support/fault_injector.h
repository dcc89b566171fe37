#pragma once

/// Makes calls of one function of the C library, by whichever of its entries (`fopen64` for `fopen`), or of the system call
/// `openat2`, fail in the program that links this library, or that preloads it with
/// QUICKFIX_FAULT="CALL FIRST COUNT ERROR FOLDER", "write 3 1 28 /tmp/reached" for example; the folder is made when a
/// call fails. A negative error is a signal that is raised in front of the call, -2 for SIGINT.
namespace FaultInjector {

/// From now on the calls number `first` to `first + count - 1` of `call` fail with `error`.
[[gnu::visibility("default")]] void Fail(const char* call, int first, int count, int error);

/// From now on `before` is called in front of each call of `call`.
[[gnu::visibility("default")]] void Watch(const char* call, void (*before)());

/// Ends both, and tells whether any call failed.
[[gnu::visibility("default")]] bool End();

}  // namespace FaultInjector
