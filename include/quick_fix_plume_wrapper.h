/// The level filter of the platform log.
#pragma once

#include <cstdint>

namespace TEKLO::QuickFixEngine {

/// Levels of log records, in ascending order. The library never logs at `WARN`; a program may use it as the threshold.
enum class QuickFixPlumeLevel : int32_t {
    DEBUG = 0,
    INFO = 1,
    WARN = 2,
    ERROR = 3,
};

/// The process-wide threshold of the platform log. It does not filter the file log.
///
/// Threads: any thread may call `JudgeLevel`. `level_` is not atomic: set it before other threads log.
class [[gnu::visibility("default")]] QuickFixPlumeWrapper {
public:
    /// Returns whether `level` is at or above the threshold.
    static bool JudgeLevel(const QuickFixPlumeLevel& level);

    /// The threshold, initially `INFO`. The library never changes it.
    static QuickFixPlumeLevel level_;
};

}  // namespace TEKLO::QuickFixEngine
