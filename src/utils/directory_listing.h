#pragma once

#include <dirent.h>

#include <memory>
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

struct DirectoryListing {
    bool opened = false;
    int error = 0;  // errno of what failed, the opening or a read; 0 when all entries were read
    std::vector<DirectoryEntry> entries;
};

/// The entries, "." and ".." included, in the directory's own order, up to the first read error. The directory is closed
/// on return, so that a recursive walk of any depth holds no descriptor.
DirectoryListing ListDirectory(const std::string& path);

}  // namespace TEKLO::QuickFixEngine
