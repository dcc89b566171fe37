#include "directory_listing.h"

#include <cerrno>
#include <utility>

namespace TEKLO::QuickFixEngine {

std::optional<std::vector<DirectoryEntry>> ListDirectory(const std::string& path) {
    const auto directory = OpenDirectory(path);
    if (directory == nullptr) {
        return std::nullopt;
    }
    std::vector<DirectoryEntry> entries;
    errno = 0;
    while (const dirent* entry = readdir(directory.get())) {
        entries.push_back({entry->d_name, entry->d_type});
        errno = 0;
    }
    // A read error must not pass for the end, or files would be left out without a word.
    return errno == 0 ? std::optional(std::move(entries)) : std::nullopt;
}

}  // namespace TEKLO::QuickFixEngine
