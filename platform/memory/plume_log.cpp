#include "platform/plume_log.h"

#include <cstdarg>
#include <mutex>
#include <utility>

#include "memory_platform.h"
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
