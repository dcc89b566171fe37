/// The level filter of the platform log.
#pragma once

#include <cstdint>

namespace TEKLO::QuickFixEngine {

/// Levels of the library's records, compared as signed numbers. `WARN` is there for hosts; the library never uses it.
enum class QuickFixPlumeLevel : int32_t {
    DEBUG = 0,
    INFO = 1,
    WARN = 2,
    ERROR = 3,
};

/// Holds the process-wide threshold of the platform log. The file log is not filtered by it.
///
/// Threads: `JudgeLevel` may be called from any thread. `level_` is a plain word that is read without a lock: set it
/// before other threads log.
class [[gnu::visibility("default")]] QuickFixPlumeWrapper {
public:
    /// True when `level` is at or above the threshold. Writes no record.
    static bool JudgeLevel(const QuickFixPlumeLevel& level);

    /// The threshold, `INFO` at first. The host sets it; the library never does.
    static QuickFixPlumeLevel level_;
};

}  // namespace TEKLO::QuickFixEngine
