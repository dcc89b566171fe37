#include "system/standard_streams.h"

#include <fcntl.h>
#include <unistd.h>

#include <initializer_list>

#include "failure.h"

namespace qfctl {

void OpenClosedStandardStreams() {
    // open returns the lowest free number.
    for (const int fd : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        const bool closed = fcntl(fd, F_GETFD) < 0;
        if (closed && open("/dev/null", fd == STDERR_FILENO ? O_WRONLY : O_RDONLY) != fd) {
            throw Failure(ExitCode::NOT_CHECKED, "the standard streams can't be opened");
        }
    }
}

}  // namespace qfctl
