#pragma once

#include <sys/xattr.h>

#include <filesystem>
#include <fstream>
#include <string>

/// Gives a file a security label, which `ls -Z` shows; false where the process may not.
inline bool SetLabel(const std::string& path, const std::string& label) {
    return lsetxattr(path.c_str(), "security.selinux", label.c_str(), label.size() + 1, 0) == 0;
}

inline bool CanSetLabels() {
    const std::string file = "/tmp/labelled";
    std::ofstream(file) << "";
    const bool can = SetLabel(file, "u:object_r:test:s0");
    std::filesystem::remove(file);
    return can;
}
