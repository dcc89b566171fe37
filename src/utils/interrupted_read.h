#pragma once

#include <cerrno>
#include <cstdio>

namespace TEKLO::QuickFixEngine {

/// Returns true if a signal handler interrupted the last read, and clears the error so that reading can continue.
inline bool WasInterrupted(FILE* file) {
    const bool interrupted = ferror(file) != 0 && errno == EINTR;
    if (interrupted) {
        clearerr(file);
    }
    return interrupted;
}

}  // namespace TEKLO::QuickFixEngine
