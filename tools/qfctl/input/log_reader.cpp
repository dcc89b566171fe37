#include "input/log_reader.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <string_view>
#include <system_error>

namespace qfctl {
namespace {

// Holds the time stamps of a record or two, so no other text is like it.
constexpr size_t TAIL_SIZE = 256;

}  // namespace

LogReader::~LogReader() {
    for (const Source& source : sources_) {
        close(source.descriptor);
    }
}

void LogReader::ReadNew(const LineSink& sink) {
    FindFiles();
    for (Source& source : sources_) {
        Drain(source, sink);
    }
    const auto isGone = [&sink](Source& source) {
        struct stat status = {};
        if (fstat(source.descriptor, &status) == 0 && status.st_nlink > 0) {
            return false;
        }
        const std::string rest = Drain(source, sink);
        if (!rest.empty()) {
            sink(rest);
        }
        close(source.descriptor);
        return true;
    };
    sources_.erase(std::remove_if(sources_.begin(), sources_.end(), isGone), sources_.end());
}

void LogReader::ReadAll(const LineSink& sink) {
    FindFiles();
    for (Source& source : sources_) {
        const std::string rest = Drain(source, sink);
        if (!rest.empty()) {
            sink(rest);
        }
    }
}

void LogReader::FindFiles() {
    std::vector<Source> snapshot;
    while (!OpenSnapshot(snapshot)) {
    }
    for (const Source& seen : snapshot) {
        const auto known = [&seen](const Source& source) {
            return source.device == seen.device && source.inode == seen.inode;
        };
        if (std::any_of(sources_.begin(), sources_.end(), known)) {
            close(seen.descriptor);
        } else {
            sources_.push_back(seen);
        }
    }
}

/// Opens what is at the paths now. False, with nothing left open, when a rotation came between.
bool LogReader::OpenSnapshot(std::vector<Source>& snapshot) const {
    snapshot.clear();
    bool consistent = true;
    for (const std::string& path : paths_) {
        const int descriptor = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
        struct stat status = {};
        if (descriptor < 0 && errno != ENOENT && errno != ENOTDIR) {
            const int error = errno;
            std::for_each(snapshot.begin(), snapshot.end(), [](const Source& source) { close(source.descriptor); });
            throw std::system_error(error, std::generic_category(), path);
        }
        if (descriptor >= 0 && fstat(descriptor, &status) == 0) {
            snapshot.push_back({descriptor, status.st_dev, status.st_ino, 0, ""});
        }
    }
    // The older file first: it is the one that a rotation replaces.
    size_t next = 0;
    for (const std::string& path : paths_) {
        const bool opened = next < snapshot.size() && IsSame(snapshot[next], path);
        consistent = consistent && (opened || access(path.c_str(), F_OK) != 0);
        next += opened ? 1 : 0;
    }
    consistent = consistent && next == snapshot.size();
    if (!consistent) {
        std::for_each(snapshot.begin(), snapshot.end(), [](const Source& source) { close(source.descriptor); });
    }
    return consistent;
}

bool LogReader::IsSame(const Source& source, const std::string& path) {
    struct stat status = {};
    return stat(path.c_str(), &status) == 0 && status.st_dev == source.device && status.st_ino == source.inode;
}

/// Hands on the new lines and returns what stands behind the last line feed.
std::string LogReader::Drain(Source& source, const LineSink& sink) {
    std::array<char, 65536> block = {};
    const auto read = [&](off_t offset, size_t size) {
        const ssize_t count =
            TEMP_FAILURE_RETRY(pread(source.descriptor, block.data(), std::min(size, block.size()), offset));
        if (count < 0) {
            throw std::system_error(errno, std::generic_category(), "read");
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
