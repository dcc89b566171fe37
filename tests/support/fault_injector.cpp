#include "fault_injector.h"

#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <sys/vfs.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

char g_call[32] = {};
char g_marker[64] = {};
int g_first = 0;
int g_count = 0;
int g_error = 0;
void (*g_before)() = nullptr;
std::atomic<int> g_calls{0};
std::atomic<bool> g_failed{false};

bool ShouldFail(const char* call) {
    if (g_call[0] == '\0' || strcmp(call, g_call) != 0) {
        return false;
    }
    if (g_before != nullptr) {
        g_before();
    }
    const int number = ++g_calls;
    if (number < g_first || number >= g_first + g_count) {
        return false;
    }
    if (!g_failed.exchange(true) && g_marker[0] != '\0') {
        (void)syscall(SYS_mkdirat, AT_FDCWD, g_marker, 0700);
    }
    if (g_error < 0) {
        (void)raise(-g_error);
        return false;
    }
    errno = g_error;
    return true;
}

[[gnu::constructor]] void ReadPlanFromEnvironment() {
    char call[sizeof(g_call)] = {};
    int first = 0;
    int count = 0;
    int error = 0;
    const char* plan = getenv("QUICKFIX_FAULT");
    // NOLINTNEXTLINE(cert-err34-c): with an invalid plan no call fails, and the tests count failing calls
    if (plan != nullptr && sscanf(plan, "%31s %d %d %d %63s", call, &first, &count, &error, g_marker) == 5) {
        // Commands that the program starts must not fail.
        unsetenv("LD_PRELOAD");
        unsetenv("QUICKFIX_FAULT");
        FaultInjector::Fail(call, first, count, error);
    }
}

}  // namespace

namespace FaultInjector {

void Fail(const char* call, int first, int count, int error) {
    (void)snprintf(g_call, sizeof(g_call), "%s", call);
    g_calls = 0;
    g_failed = false;
    g_first = first;
    g_error = error;
    g_count = count;
}

void Watch(const char* call, void (*before)()) {
    g_before = before;
    Fail(call, 0, 0, 0);
}

bool End() {
    g_call[0] = '\0';
    g_before = nullptr;
    return g_failed;
}

}  // namespace FaultInjector

// NOLINTBEGIN(bugprone-macro-parentheses): declarations can't be in parentheses
#define ENTRY(call, result, name, failure, parameters, arguments)                                 \
    extern "C" [[gnu::visibility("default")]] result name parameters {                            \
        static const auto next = reinterpret_cast<result(*) parameters>(dlsym(RTLD_NEXT, #name)); \
        return ShouldFail(#call) ? (failure) : next arguments;                                    \
    }
#define CALL(result, name, failure, parameters, arguments) ENTRY(name, result, name, failure, parameters, arguments)

#define OPEN_ENTRY(call, name, parameters, passed)                                             \
    extern "C" [[gnu::visibility("default")]] int name parameters {                            \
        static const auto next = reinterpret_cast<int(*) parameters>(dlsym(RTLD_NEXT, #name)); \
        va_list arguments;                                                                     \
        va_start(arguments, flags);                                                            \
        const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0;            \
        va_end(arguments);                                                                     \
        return ShouldFail(#call) ? -1 : next passed;                                           \
    }
// NOLINTEND(bugprone-macro-parentheses)

// A call has several entries because the versions of a standard library use different ones.
CALL(int, chmod, -1, (const char* path, mode_t mode), (path, mode))
CALL(int, chown, -1, (const char* path, uid_t user, gid_t group), (path, user, group))
CALL(int, fchmod, -1, (int file, mode_t mode), (file, mode))
CALL(FILE*, fdopen, nullptr, (int file, const char* mode), (file, mode))
CALL(ssize_t, fgetxattr, -1, (int file, const char* name, void* to, size_t size), (file, name, to, size))
CALL(FILE*, fopen, nullptr, (const char* path, const char* mode), (path, mode))
ENTRY(fopen, FILE*, fopen64, nullptr, (const char* path, const char* mode), (path, mode))
CALL(size_t, fread, (file->_flags |= _IO_ERR_SEEN, 0), (void* to, size_t size, size_t count, FILE* file),
     (to, size, count, file))
CALL(int, fstat, -1, (int file, struct stat* status), (file, status))
ENTRY(fstat, int, fstat64, -1, (int file, struct stat64* status), (file, status))
CALL(int, fsync, -1, (int file), (file))
CALL(int, lstat, -1, (const char* path, struct stat* status), (path, status))
ENTRY(lstat, int, lstat64, -1, (const char* path, struct stat64* status), (path, status))
CALL(int, mkdir, -1, (const char* path, mode_t mode), (path, mode))
OPEN_ENTRY(open, open, (const char* path, int flags, ...), (path, flags, mode))
OPEN_ENTRY(open, open64, (const char* path, int flags, ...), (path, flags, mode))
OPEN_ENTRY(openat, openat, (int folder, const char* path, int flags, ...), (folder, path, flags, mode))
OPEN_ENTRY(openat, openat64, (int folder, const char* path, int flags, ...), (folder, path, flags, mode))
CALL(DIR*, opendir, nullptr, (const char* path), (path))
CALL(int, ftruncate, -1, (int file, off_t size), (file, size))
ENTRY(ftruncate, int, ftruncate64, -1, (int file, off64_t size), (file, size))
CALL(FILE*, popen, nullptr, (const char* command, const char* mode), (command, mode))
CALL(ssize_t, pread, -1, (int file, void* to, size_t size, off_t at), (file, to, size, at))
ENTRY(pread, ssize_t, pread64, -1, (int file, void* to, size_t size, off64_t at), (file, to, size, at))
CALL(ssize_t, read, -1, (int file, void* to, size_t size), (file, to, size))
CALL(dirent*, readdir, nullptr, (DIR * directory), (directory))
ENTRY(readdir, dirent64*, readdir64, nullptr, (DIR * directory), (directory))
CALL(char*, realpath, nullptr, (const char* path, char* resolved), (path, resolved))
CALL(int, remove, -1, (const char* path), (path))
CALL(int, rename, -1, (const char* from, const char* to), (from, to))
CALL(int, stat, -1, (const char* path, struct stat* status), (path, status))
ENTRY(stat, int, stat64, -1, (const char* path, struct stat64* status), (path, status))
CALL(int, statfs, -1, (const char* path, struct statfs* status), (path, status))
ENTRY(statfs, int, statfs64, -1, (const char* path, struct statfs64* status), (path, status))
CALL(int, renameat, -1, (int folder, const char* from, int other, const char* to), (folder, from, other, to))
CALL(ssize_t, write, -1, (int file, const void* from, size_t size), (file, from, size))
ENTRY(write, ssize_t, writev, -1, (int file, const iovec* parts, int count), (file, parts, count))

// For openat2, which has no function in the C library.
extern "C" [[gnu::visibility("default")]] long syscall(long number, ...) noexcept {
    // Not static: libc++abi 14 calls this function while it initialises a static variable, and would wait for itself.
    const auto next = reinterpret_cast<long (*)(long, ...)>(dlsym(RTLD_NEXT, "syscall"));
    va_list list;
    va_start(list, number);
    std::array<long, 6> arguments = {};
    for (long& argument : arguments) {
        argument = va_arg(list, long);
    }
    va_end(list);
    const auto& [a, b, c, d, e, f] = arguments;
    return number == SYS_openat2 && ShouldFail("openat2") ? -1 : next(number, a, b, c, d, e, f);
}

// Replaces the port's sprintf_s, as a program may.
extern "C" [[gnu::visibility("default")]] int sprintf_s(char* dest, size_t destSize, const char* format, ...) {
    if (ShouldFail("sprintf_s")) {
        dest[0] = '\0';
        return -1;
    }
    va_list arguments;
    va_start(arguments, format);
    const int length = vsnprintf(dest, destSize, format, arguments);
    va_end(arguments);
    return length < 0 || static_cast<size_t>(length) >= destSize ? -1 : length;
}
