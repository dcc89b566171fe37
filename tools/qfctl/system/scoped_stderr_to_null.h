#pragma once

#include "system/unique_fd.h"

namespace qfctl {

/// Keeps what the commands of a run print out of standard error: the results say it better.
class ScopedStderrToNull {
public:
    ScopedStderrToNull();
    ~ScopedStderrToNull();
    ScopedStderrToNull(const ScopedStderrToNull&) = delete;
    ScopedStderrToNull& operator=(const ScopedStderrToNull&) = delete;

private:
    UniqueFd former_;
};

}  // namespace qfctl
