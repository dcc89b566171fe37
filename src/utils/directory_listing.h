#pragma once

#include <dirent.h>

#include <memory>
#include <string>
#include <vector>

namespace TEKLO::QuickFixEngine {

struct DirectoryCloser {
    void operator()(DIR* directory) const { closedir(directory); }
};

using Directory = std::unique_ptr<DIR, DirectoryCloser>;

inline Directory OpenDirectory(const std::string& path) {
    return Directory(opendir(path.c_str()));
}

struct DirectoryEntry {
    std::string name;
    unsigned char type;  // DT_DIR and its like, as the directory itself records it

    bool IsDot() const { return name == "." || name == ".."; }
};

struct DirectoryListing {
    std::vector<DirectoryEntry> entries;
    int error = 0;  // errno of the read that failed, or 0
};

/// The entries, "." and ".." included, in the directory's own order, up to the first read error. The directory is closed
/// on return, so that a recursive walk of any depth holds no descriptor.
DirectoryListing ReadEntries(Directory directory);

}  // namespace TEKLO::QuickFixEngine
