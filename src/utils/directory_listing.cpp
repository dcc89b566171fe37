#include "directory_listing.h"

namespace TEKLO::QuickFixEngine {

std::optional<std::vector<DirectoryEntry>> ListDirectory(const std::string& path) {
    const auto directory = OpenDirectory(path);
    if (directory == nullptr) {
        return std::nullopt;
    }
    std::vector<DirectoryEntry> entries;
    while (const dirent* entry = readdir(directory.get())) {
        entries.push_back({entry->d_name, entry->d_type});
    }
    return entries;
}

}  // namespace TEKLO::QuickFixEngine
