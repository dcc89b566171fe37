#pragma once

#include <sys/types.h>

#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "system/unique_fd.h"

namespace qfctl {

/// Reads the two files of the log as one stream of lines, across rotation, deletion and truncation.
///
/// Keeps every file open, so that a rotated or deleted file is still read completely. Misses only a file that is
/// created and deleted between two calls, and lines that are truncated before a call reads them. Throws Failure if an
/// existing file can't be read.
class LogReader {
public:
    using LineSink = std::function<void(const std::string& line)>;

    /// `paths` lists the older file first.
    explicit LogReader(std::vector<std::string> paths) : paths_(std::move(paths)) {}

    /// Passes each complete line written since the last call to `sink`, without its line feed. For a deleted file, also
    /// passes the text after its last line feed.
    void ReadNew(const LineSink& sink);

    /// Passes all lines to `sink`, including a last line without a line feed.
    void ReadAll(const LineSink& sink);

    bool HasFiles() const { return !sources_.empty(); }

private:
    struct Source {
        UniqueFd file;
        dev_t device;
        ino_t inode;
        off_t offset;      // after the last line feed that was read
        std::string tail;  // the text before the offset; if it changes, the file was truncated
    };

    void FindFiles();
    bool OpenSnapshot(std::vector<Source>& snapshot) const;
    static bool IsSame(const Source& source, const std::string& path);
    static std::string ReadNewLines(Source& source, const LineSink& sink);

    std::vector<std::string> paths_;
    std::vector<Source> sources_;
};

}  // namespace qfctl
