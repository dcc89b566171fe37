#include "local_time.h"

#include <pthread.h>

#include <cstdio>
#include <ctime>
#include <mutex>

namespace TEKLO::Platform {

namespace {

// glibc 2.36 locks the time zone in localtime_r and doesn't release the lock in a forked child. A fork therefore waits
// for the end of a conversion.
std::mutex g_timeZoneMutex;

// Registered before the library's handlers. A fork then takes the lock of the file log before this one, in the same
// order as a record.
[[gnu::constructor(101)]] void RegisterForkHandlers() {
    const auto unlock = [] { g_timeZoneMutex.unlock(); };
    pthread_atfork([] { g_timeZoneMutex.lock(); }, unlock, unlock);
}

}  // namespace

std::string FormatLocalTime() {
    timespec now = {};
    clock_gettime(CLOCK_REALTIME, &now);
    std::tm local = {};
    {
        const std::lock_guard<std::mutex> lock(g_timeZoneMutex);
        localtime_r(&now.tv_sec, &local);
    }
    char text[64] = {};
    const size_t length = strftime(text, sizeof(text), "%Y-%m-%d %H:%M:%S", &local);
    snprintf(text + length, sizeof(text) - length, ".%03d", static_cast<int>(now.tv_nsec / 1000000));
    return text;
}

}  // namespace TEKLO::Platform
