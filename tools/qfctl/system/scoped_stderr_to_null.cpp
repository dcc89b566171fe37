#include "system/scoped_stderr_to_null.h"

#include <fcntl.h>
#include <unistd.h>

namespace qfctl {

ScopedStderrToNull::ScopedStderrToNull() : previous_(fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 0)) {
    const UniqueFd null(open("/dev/null", O_WRONLY | O_CLOEXEC));
    if (previous_.IsOpen() && null.IsOpen()) {
        dup2(null.Get(), STDERR_FILENO);
    }
}

ScopedStderrToNull::~ScopedStderrToNull() {
    if (previous_.IsOpen()) {
        dup2(previous_.Get(), STDERR_FILENO);
    }
}

}  // namespace qfctl
