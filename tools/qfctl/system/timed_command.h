#pragma once

#include <chrono>
#include <cstddef>
#include <string>

namespace qfctl {

struct TimedResult {
    bool hasEnded = false;  // false if it was killed at the deadline
    int status = 0;         // from waitpid, if it has ended
    size_t lines = 0;       // line feeds on its standard output
};

/// Runs a command in /bin/sh without standard input and standard error. Kills its process group at the deadline. Throws
/// std::system_error if the command can't be started.
TimedResult RunTimed(const std::string& command, std::chrono::milliseconds timeout);

}  // namespace qfctl
