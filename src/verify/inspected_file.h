#pragma once

#include <sys/stat.h>

#include <string>

#include "file_digest.h"

namespace TEKLO::QuickFixEngine {

struct FileValue {
    std::string text;     // empty if there is no value
    bool isKnown = true;  // false if there is a value that can't be read
};

/// A file whose digest, mode and label are read from one descriptor. Opens only a regular file; for a file of another
/// type or without read permission, reads mode and label by its path. Neither waits nor follows a link in the last
/// component. A file of another type has no digest.
class InspectedFile {
public:
    explicit InspectedFile(std::string path);

    const std::string& Path() const { return path_; }
    /// Logs what FileUtils::GetFileSHA256 logs.
    FileValue Digest() const;
    /// As `ls -l` shows it.
    FileValue Mode() const;
    /// As `ls -Z` shows it.
    FileValue Label() const;

private:
    void Open();
    bool IsAbsent() const;

    std::string path_;
    struct stat status_ = {};
    DigestSource source_;
};

}  // namespace TEKLO::QuickFixEngine
