#pragma once

#include "system/unique_fd.h"

namespace qfctl {

/// Discards the error messages of the commands in a run, because the results report the errors more clearly.
class ScopedStderrToNull {
public:
    ScopedStderrToNull();
    ~ScopedStderrToNull();
    ScopedStderrToNull(const ScopedStderrToNull&) = delete;
    ScopedStderrToNull& operator=(const ScopedStderrToNull&) = delete;

private:
    UniqueFd previous_;
};

}  // namespace qfctl
