#pragma once

#include <sys/wait.h>

#include <cstdio>
#include <string>

#include "files.h"

struct CommandResult {
    int exitCode = -1;
    std::string output;
    std::string errors;
};

/// Runs a command line of /bin/sh.
inline CommandResult RunCommand(const std::string& line) {
    const std::string redirected = "{ " + line + "\n} >/tmp/.output 2>/tmp/.errors </dev/null";
    const int status = std::system(redirected.c_str());
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, Read("/tmp/.output"), Read("/tmp/.errors")};
}

inline CommandResult Qfctl(const std::string& arguments) {
    return RunCommand(QFCTL " " + arguments);
}
