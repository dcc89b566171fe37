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

/// Never destroyed: static destructors write records too.
Log& TheLog() {
    static Log& log = *new Log;
    return log;
}

// A child that is forked while another thread writes a record would find the log locked for good.
[[gnu::constructor(101)]] void RegisterForkHandlers() {
    const auto unlock = [] { TheLog().mutex.unlock(); };
    pthread_atfork([] { TheLog().mutex.lock(); }, unlock, unlock);
}

}  // namespace

int PlumePrint(int type, int level, unsigned int domain, const char* tag, const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    std::string text = TEKLO::Platform::RenderPlumeText(format, arguments);
    va_end(arguments);
    const auto length = static_cast<int>(text.size());
    const std::lock_guard<std::mutex> lock(TheLog().mutex);
    TheLog().records.push_back({type, level, domain, tag, std::move(text)});
    return length;
}

std::vector<TEKLO::MemoryPlatform::LogRecord> TEKLO::MemoryPlatform::TakeLogRecords() {
    const std::lock_guard<std::mutex> lock(TheLog().mutex);
    return std::exchange(TheLog().records, {});
}
