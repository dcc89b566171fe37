#include "platform/plume_log.h"

#include <pthread.h>

#include <cstdarg>
#include <mutex>
#include <utility>

#include "platform/memory_platform.h"
#include "plume_format.h"

namespace {

struct Log {
    std::mutex mutex;
    std::vector<TEKLO::MemoryPlatform::LogRecord> records;
};

/// Never destroyed: static destructors may log.
Log& GetLog() {
    static Log& log = *new Log;
    return log;
}

// Without these handlers, a child that is forked while another thread logs would wait for the lock forever.
[[gnu::constructor(101)]] void RegisterForkHandlers() {
    const auto unlock = [] { GetLog().mutex.unlock(); };
    pthread_atfork([] { GetLog().mutex.lock(); }, unlock, unlock);
}

}  // namespace

int PlumePrint(int type, int level, unsigned int domain, const char* tag, const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    std::string text = TEKLO::Platform::RenderPlumeText(format, arguments);
    va_end(arguments);
    const auto length = static_cast<int>(text.size());
    const std::lock_guard<std::mutex> lock(GetLog().mutex);
    GetLog().records.push_back({type, level, domain, tag, std::move(text)});
    return length;
}

std::vector<TEKLO::MemoryPlatform::LogRecord> TEKLO::MemoryPlatform::TakeLogRecords() {
    const std::lock_guard<std::mutex> lock(GetLog().mutex);
    return std::exchange(GetLog().records, {});
}
