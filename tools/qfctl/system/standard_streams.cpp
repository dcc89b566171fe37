#include "system/standard_streams.h"

#include <fcntl.h>
#include <unistd.h>

#include <initializer_list>

namespace qfctl {

bool OpenClosedStandardStreams() {
    // The lowest free number is the one that a file gets.
    for (const int fd : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        const bool closed = fcntl(fd, F_GETFD) < 0;
        if (closed && open("/dev/null", fd == STDERR_FILENO ? O_WRONLY : O_RDONLY) != fd) {
            return false;
        }
    }
    return true;
}

}  // namespace qfctl
