#include "directory_listing.h"

#include <cerrno>

namespace TEKLO::QuickFixEngine {

DirectoryListing ReadEntries(Directory directory) {
    DirectoryListing listing;
    errno = 0;
    while (const dirent* entry = readdir(directory.get())) {
        listing.entries.push_back({entry->d_name, entry->d_type});
        errno = 0;
    }
    listing.error = errno;
    return listing;
}

}  // namespace TEKLO::QuickFixEngine
