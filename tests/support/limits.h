#pragma once

#include <sys/resource.h>
#include <unistd.h>

#include <filesystem>
#include <iterator>

/// Lets the process hold only so many descriptors while it lives.
class DescriptorLimit {
public:
    explicit DescriptorLimit(rlim_t count) {
        getrlimit(RLIMIT_NOFILE, &former_);
        const rlimit few = {count, former_.rlim_max};
        setrlimit(RLIMIT_NOFILE, &few);
    }
    ~DescriptorLimit() { setrlimit(RLIMIT_NOFILE, &former_); }
    DescriptorLimit(const DescriptorLimit&) = delete;
    DescriptorLimit& operator=(const DescriptorLimit&) = delete;

private:
    rlimit former_ = {};
};

/// As a limit it lets nothing more be opened.
inline rlim_t FirstFreeDescriptor() {
    const int descriptor = dup(STDIN_FILENO);
    close(descriptor);
    return static_cast<rlim_t>(descriptor);
}

inline long OpenDescriptors() {
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
}
