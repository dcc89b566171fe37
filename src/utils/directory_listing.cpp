#include "directory_listing.h"

#include <cerrno>

namespace TEKLO::QuickFixEngine {

DirectoryListing ListDirectory(const std::string& path) {
    const auto directory = OpenDirectory(path);
    if (directory == nullptr) {
        return {false, errno, {}};
    }
    DirectoryListing listing = {true, 0, {}};
    errno = 0;
    while (const dirent* entry = readdir(directory.get())) {
        listing.entries.push_back({entry->d_name, entry->d_type});
        errno = 0;
    }
    listing.error = errno;
    return listing;
}

}  // namespace TEKLO::QuickFixEngine
