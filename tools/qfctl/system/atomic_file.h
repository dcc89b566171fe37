#pragma once

#include <sys/stat.h>

#include <optional>
#include <string>

#include "system/unique_fd.h"

namespace qfctl {

/// The path of a file to write: a new one, or a regular one to replace. Links are followed at construction; a link that
/// appears later is not.
class FileTarget {
public:
    /// Throws Failure when the file can't be written.
    explicit FileTarget(const std::string& path);

    /// Writes the file atomically: the former content stays until the new one is on the disk. Keeps mode and owner of
    /// the file that existed at construction. Blocks signals meanwhile, so that only SIGKILL leaves a temporary file.
    /// Throws Failure.
    void Write(const std::string& content) const;

private:
    UniqueFd folder_;
    std::string name_;
    std::optional<struct stat> former_;
};

}  // namespace qfctl
