#pragma once

#include <cerrno>
#include <cstdio>

namespace TEKLO::QuickFixEngine {

/// True, with the stream ready to go on, when a signal that the process caught ended a read.
inline bool WasInterrupted(FILE* file) {
    const bool interrupted = ferror(file) != 0 && errno == EINTR;
    if (interrupted) {
        clearerr(file);
    }
    return interrupted;
}

}  // namespace TEKLO::QuickFixEngine
