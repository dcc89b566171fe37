#pragma once

#include <chrono>
#include <string>
#include <utility>
#include <vector>

namespace qfctl {

using Clock = std::chrono::system_clock;

/// The system that a verification was made on, and when it began.
struct Identity {
    std::string host;
    std::string baseVersion;  // empty when none is set
    std::string stage;        // "init" or "sa"
    std::string kernel;
    std::string version;  // of qfctl
    Clock::time_point start;
};

/// Asks the system; the library records the questions about stage and base version.
Identity ReadIdentity(Clock::time_point start);

/// What is known of it, each value with its name, in the order in which it is shown.
std::vector<std::pair<const char*, std::string>> Describe(const Identity& identity);

/// Formats a local time after a format of strftime.
std::string FormatTime(Clock::time_point time, const char* format);

}  // namespace qfctl
