#include "local_time.h"

#include <pthread.h>

#include <cstdio>
#include <ctime>
#include <mutex>

namespace TEKLO::Platform {

namespace {

// The C library locks the time zone during a conversion and doesn't release it in a forked child, so a fork waits for
// the end of a conversion.
std::mutex g_conversion;

// Before the library's handlers, so that a fork takes this lock after that of the file log, as a record does.
[[gnu::constructor(101)]] void RegisterForkHandlers() {
    const auto unlock = [] { g_conversion.unlock(); };
    pthread_atfork([] { g_conversion.lock(); }, unlock, unlock);
}

}  // namespace

std::string FormatLocalTime() {
    timespec now = {};
    clock_gettime(CLOCK_REALTIME, &now);
    std::tm local = {};
    {
        const std::lock_guard<std::mutex> lock(g_conversion);
        localtime_r(&now.tv_sec, &local);
    }
    char text[64] = {};
    const size_t length = strftime(text, sizeof(text), "%Y-%m-%d %H:%M:%S", &local);
    snprintf(text + length, sizeof(text) - length, ".%03d", static_cast<int>(now.tv_nsec / 1000000));
    return text;
}

}  // namespace TEKLO::Platform
