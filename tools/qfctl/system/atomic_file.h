#pragma once

#include <sys/stat.h>

#include <optional>
#include <string>

#include "system/unique_fd.h"

namespace qfctl {

/// A place for a file, a new one or in place of a regular one. Links are followed when it is made; one that appears
/// later, in the path or at its end, is not.
class FileTarget {
public:
    /// Throws Failure when the place can't take a file.
    explicit FileTarget(const std::string& path);

    /// Writes a file whole or not at all: what stood there stays until the new content is safely on the disk. Keeps the
    /// mode and the owner of the file that was there when the target was made. Signals wait until it is done, so none
    /// but SIGKILL leaves a temporary file. Throws Failure.
    void Write(const std::string& content) const;

private:
    UniqueFd folder_;
    std::string name_;
    std::optional<struct stat> former_;
};

}  // namespace qfctl
