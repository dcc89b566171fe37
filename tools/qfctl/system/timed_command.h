#pragma once

#include <chrono>
#include <cstddef>
#include <string>

namespace qfctl {

struct TimedResult {
    bool hasEnded = false;  // false when it was killed at the deadline
    int status = 0;         // of waitpid, when it has ended
    size_t lines = 0;       // line feeds on its standard output
};

/// Runs a command of /bin/sh without input and without its complaints, and kills it with all of its process group at the
/// deadline. Throws std::system_error when it can't be started.
TimedResult RunTimed(const std::string& command, std::chrono::milliseconds timeout);

}  // namespace qfctl
