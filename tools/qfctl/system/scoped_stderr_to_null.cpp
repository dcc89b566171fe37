#include "system/scoped_stderr_to_null.h"

#include <fcntl.h>
#include <unistd.h>

namespace qfctl {

ScopedStderrToNull::ScopedStderrToNull() : former_(fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 0)) {
    const UniqueFd null(open("/dev/null", O_WRONLY | O_CLOEXEC));
    if (former_.IsOpen() && null.IsOpen()) {
        dup2(null.Get(), STDERR_FILENO);
    }
}

ScopedStderrToNull::~ScopedStderrToNull() {
    if (former_.IsOpen()) {
        dup2(former_.Get(), STDERR_FILENO);
    }
}

}  // namespace qfctl
