#pragma once

#include <sys/stat.h>

#include <optional>
#include <string>

#include "system/unique_fd.h"

namespace qfctl {

/// The path of a new file, or of a regular file to replace. The constructor resolves symbolic links; a link that
/// appears later is not followed.
class FileTarget {
public:
    /// Throws Failure if the file can't be written.
    explicit FileTarget(const std::string& path);

    /// Writes the file atomically: the old content stays until the new content is on the disk. Keeps the mode and owner
    /// of a file that existed at construction. Blocks signals meanwhile, so that only SIGKILL can leave a temporary
    /// file. Throws Failure if the file can't be written.
    void Write(const std::string& content) const;

private:
    UniqueFd folder_;
    std::string name_;
    std::optional<struct stat> former_;
};

}  // namespace qfctl
