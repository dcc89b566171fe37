#pragma once

#include "system/unique_fd.h"

namespace qfctl {

/// Redirects standard error to /dev/null while this object exists. Discards the error messages of the commands that
/// qfctl runs, because qfctl reports the errors more clearly.
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
