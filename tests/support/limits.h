#pragma once

#include <sys/resource.h>
#include <sys/statvfs.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>

/// Limits the number of open descriptors of the process while this object exists.
class DescriptorLimit {
public:
    explicit DescriptorLimit(rlim_t count) {
        getrlimit(RLIMIT_NOFILE, &previous_);
        const rlimit limit = {count, previous_.rlim_max};
        setrlimit(RLIMIT_NOFILE, &limit);
    }
    ~DescriptorLimit() { setrlimit(RLIMIT_NOFILE, &previous_); }
    DescriptorLimit(const DescriptorLimit&) = delete;
    DescriptorLimit& operator=(const DescriptorLimit&) = delete;

private:
    rlimit previous_ = {};
};

/// Returns the lowest free descriptor. A DescriptorLimit of this value prevents any further open.
inline rlim_t FirstFreeDescriptor() {
    const int descriptor = dup(STDIN_FILENO);
    close(descriptor);
    return static_cast<rlim_t>(descriptor);
}

inline long OpenDescriptors() {
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
}

/// Returns true if the file system holds at most 1 MiB. Tests fill only such a file system, because it belongs to a
/// private root and not to the machine.
inline bool IsOnSmallDisk(const char* path) {
    struct statvfs status = {};
    return statvfs(path, &status) == 0 && status.f_blocks * status.f_frsize <= 1048576;
}

/// Returns true for root, unless root is the only user of its namespace.
inline bool CanChangeOwners() {
    const std::ofstream created("/tmp/owned");
    return chown("/tmp/owned", 65534, 65534) == 0 && unlink("/tmp/owned") == 0;
}

/// Sets a security label, which `ls -Z` prints. Returns false if that is not permitted.
inline bool SetLabel(const std::string& path, const std::string& label) {
    return lsetxattr(path.c_str(), "security.selinux", label.c_str(), label.empty() ? 0 : label.size() + 1, 0) == 0;
}

inline bool CanSetLabels() {
    const std::string file = "/tmp/labelled";
    std::ofstream(file) << "";
    const bool can = SetLabel(file, "u:object_r:test:s0");
    std::filesystem::remove(file);
    return can;
}
