#pragma once

#include <dirent.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace TEKLO::QuickFixEngine {

struct DirectoryCloser {
    void operator()(DIR* directory) const { closedir(directory); }
};

inline std::unique_ptr<DIR, DirectoryCloser> OpenDirectory(const std::string& path) {
    return std::unique_ptr<DIR, DirectoryCloser>(opendir(path.c_str()));
}

struct DirectoryEntry {
    std::string name;
    unsigned char type;  // DT_DIR and its like, as the directory itself records it

    bool IsDot() const { return name == "." || name == ".."; }
};

/// All entries, "." and ".." included, in the directory's own order; nothing, and errno set, when it can't be
/// opened or read. The directory is closed on return, so that a recursive walk of any depth holds no descriptor.
std::optional<std::vector<DirectoryEntry>> ListDirectory(const std::string& path);

}  // namespace TEKLO::QuickFixEngine
