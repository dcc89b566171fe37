#pragma once

#include <sys/stat.h>

#include <string>

#include "file_digest.h"

namespace TEKLO::QuickFixEngine {

struct FileValue {
    std::string text;     // "", or "?" for a label, if there is no value or the value can't be read
    bool isKnown = true;  // false if the value can't be read
};

/// A file whose digest, mode and label are read from one descriptor. Opens only a regular file; for a file of another
/// type or without read permission, reads mode and label by its path. Opening never waits, and never follows a
/// link in the last component. Only a regular file has a digest.
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
