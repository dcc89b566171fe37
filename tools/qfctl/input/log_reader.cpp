#include "input/log_reader.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <string_view>

#include "failure.h"

namespace qfctl {
namespace {

// Holds the timestamp of a record of usual length, which makes the tail unique.
constexpr size_t TAIL_SIZE = 256;

}  // namespace

void LogReader::ReadNew(const LineSink& sink) {
    FindFiles();
    for (Source& source : sources_) {
        ReadNewLines(source, sink);
    }
    const auto isGone = [&sink](Source& source) {
        struct stat status = {};
        if (fstat(source.file.Get(), &status) == 0 && status.st_nlink > 0) {
            return false;
        }
        const std::string rest = ReadNewLines(source, sink);
        if (!rest.empty()) {
            sink(rest);
        }
        return true;
    };
    sources_.erase(std::remove_if(sources_.begin(), sources_.end(), isGone), sources_.end());
}

void LogReader::ReadAll(const LineSink& sink) {
    FindFiles();
    for (Source& source : sources_) {
        const std::string rest = ReadNewLines(source, sink);
        if (!rest.empty()) {
            sink(rest);
        }
    }
}

void LogReader::FindFiles() {
    std::vector<Source> snapshot;
    while (!OpenSnapshot(snapshot)) {
    }
    for (Source& seen : snapshot) {
        const auto known = [&seen](const Source& source) {
            return source.device == seen.device && source.inode == seen.inode;
        };
        if (std::none_of(sources_.begin(), sources_.end(), known)) {
            sources_.push_back(std::move(seen));
        }
    }
}

/// Opens the current files. Returns false if a rotation happened meanwhile.
bool LogReader::OpenSnapshot(std::vector<Source>& snapshot) const {
    snapshot.clear();
    bool consistent = true;
    for (const std::string& path : paths_) {
        UniqueFd file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
        struct stat status = {};
        if (!file.IsOpen() && errno != ENOENT && errno != ENOTDIR) {
            throw Failure(ExitCode::NOT_CHECKED, "the log can't be read: " + path + ": " + strerror(errno));
        }
        if (file.IsOpen() && fstat(file.Get(), &status) == 0) {
            if (!S_ISREG(status.st_mode)) {
                throw Failure(ExitCode::NOT_CHECKED, "the log can't be read: " + path + " is not a regular file");
            }
            snapshot.push_back({std::move(file), status.st_dev, status.st_ino, 0, ""});
        }
    }
    // Compares the older file first, because a rotation replaces it.
    size_t next = 0;
    for (const std::string& path : paths_) {
        const bool opened = next < snapshot.size() && IsSame(snapshot[next], path);
        consistent = consistent && (opened || access(path.c_str(), F_OK) != 0);
        next += opened ? 1 : 0;
    }
    return consistent && next == snapshot.size();
}

bool LogReader::IsSame(const Source& source, const std::string& path) {
    struct stat status = {};
    return stat(path.c_str(), &status) == 0 && status.st_dev == source.device && status.st_ino == source.inode;
}

/// Passes the new lines to `sink` and returns the text after the last line feed.
std::string LogReader::ReadNewLines(Source& source, const LineSink& sink) {
    std::array<char, 65536> block = {};
    const auto read = [&](off_t offset, size_t size) {
        const ssize_t count =
            TEMP_FAILURE_RETRY(pread(source.file.Get(), block.data(), std::min(size, block.size()), offset));
        if (count < 0) {
            throw Failure(ExitCode::NOT_CHECKED, std::string("the log can't be read: read: ") + strerror(errno));
        }
        return std::string_view(block.data(), static_cast<size_t>(count));
    };
    if (read(source.offset - static_cast<off_t>(source.tail.size()), source.tail.size()) != source.tail) {
        source.offset = 0;
        source.tail.clear();
    }
    std::string rest;
    off_t position = source.offset;
    for (std::string_view text; !(text = read(position, block.size())).empty();) {
        position += static_cast<off_t>(text.size());
        rest += text;
        size_t start = 0;
        for (size_t end = 0; (end = rest.find('\n', start)) != std::string::npos; start = end + 1) {
            sink(rest.substr(start, end - start));
        }
        source.offset += static_cast<off_t>(start);
        source.tail = (source.tail + rest.substr(0, start));
        source.tail.erase(0, source.tail.size() - std::min(source.tail.size(), TAIL_SIZE));
        rest.erase(0, start);
    }
    return rest;
}

}  // namespace qfctl
