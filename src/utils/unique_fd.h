#pragma once

#include <unistd.h>

namespace TEKLO::QuickFixEngine {

/// Owns a file descriptor.
class UniqueFd {
public:
    explicit UniqueFd(int fd) : fd_(fd) {}
    ~UniqueFd() {
        if (fd_ >= 0) {
            close(fd_);
        }
    }
    UniqueFd(const UniqueFd&) = delete;
    UniqueFd& operator=(const UniqueFd&) = delete;

    int Get() const { return fd_; }

private:
    int fd_;
};

}  // namespace TEKLO::QuickFixEngine
