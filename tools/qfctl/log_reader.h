#pragma once

#include <sys/types.h>

#include <functional>
#include <string>
#include <vector>

/// Reads the two files of the log as one stream of lines, through rotations, deletion and truncation.
///
/// Files are held open from when they are first seen, so one that is rotated away or deleted is still read to its end.
/// Only what is created and gone again between two calls of `ReadNew` is missed.
class LogReader {
public:
    using LineSink = std::function<void(const std::string& line)>;

    /// `paths` from the older file to the newer one.
    explicit LogReader(std::vector<std::string> paths) : paths_(std::move(paths)) {}
    ~LogReader();
    LogReader(const LogReader&) = delete;
    LogReader& operator=(const LogReader&) = delete;

    /// Hands on every whole line that was written since the last call, without its line feed. Throws std::system_error
    /// when a file is there but can't be opened.
    void ReadNew(const LineSink& sink);

    /// Hands on what stands behind the last line feeds.
    void ReadRest(const LineSink& sink);

    bool HasFiles() const { return !sources_.empty(); }

private:
    struct Source {
        int descriptor;
        dev_t device;
        ino_t inode;
        off_t offset;
        std::string partial;  // the beginning of a line whose end isn't written yet
    };

    void FindFiles();
    bool OpenSnapshot(std::vector<Source>& snapshot) const;
    static bool IsSame(const Source& source, const std::string& path);
    static void Drain(Source& source, const LineSink& sink);

    std::vector<std::string> paths_;
    std::vector<Source> sources_;
};
