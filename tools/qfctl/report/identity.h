#pragma once

#include <chrono>
#include <string>
#include <utility>
#include <vector>

namespace qfctl {

using Clock = std::chrono::system_clock;

/// The verified system and the start time of the verification.
struct Identity {
    std::string host;
    std::string baseVersion;  // empty if none is set
    std::string stage;        // "init" or "sa"
    std::string kernel;
    std::string version;  // of qfctl
    Clock::time_point start;
};

/// Queries the system. The library logs the queries for the stage and the base version.
Identity ReadIdentity(Clock::time_point start);

/// Returns pairs of name and value in display order, without empty values.
std::vector<std::pair<const char*, std::string>> Describe(const Identity& identity);

/// Formats a local time with strftime.
std::string FormatTime(Clock::time_point time, const char* format);

}  // namespace qfctl
