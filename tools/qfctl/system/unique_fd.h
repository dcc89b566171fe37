#pragma once

#include <unistd.h>

#include <utility>

namespace qfctl {

/// Owns a file descriptor.
class UniqueFd {
public:
    explicit UniqueFd(int fd = -1) : fd_(fd) {}
    ~UniqueFd() {
        if (fd_ >= 0) {
            close(fd_);
        }
    }
    UniqueFd(UniqueFd&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
    UniqueFd& operator=(UniqueFd&& other) noexcept {
        std::swap(fd_, other.fd_);
        return *this;
    }
    UniqueFd(const UniqueFd&) = delete;
    UniqueFd& operator=(const UniqueFd&) = delete;

    int Get() const { return fd_; }
    bool IsOpen() const { return fd_ >= 0; }

private:
    int fd_;
};

}  // namespace qfctl
