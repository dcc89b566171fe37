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
    unsigned char type;  // DT_DIR etc.; DT_UNKNOWN on file systems without types

    bool IsDot() const { return name == "." || name == ".."; }
};

struct DirectoryListing {
    std::vector<DirectoryEntry> entries;
    int error = 0;  // errno of a failed read, or 0
};

/// Returns the entries in the directory's order, "." and ".." included, up to the first read error. Closes the
/// directory, so that a recursive walk holds no descriptor.
DirectoryListing ReadEntries(Directory directory);

}  // namespace TEKLO::QuickFixEngine
