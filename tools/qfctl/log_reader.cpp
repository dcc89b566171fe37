#include "log_reader.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <system_error>

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
        Drain(source, sink);
        close(source.descriptor);
        return true;
    };
    sources_.erase(std::remove_if(sources_.begin(), sources_.end(), isGone), sources_.end());
}

void LogReader::ReadRest(const LineSink& sink) {
    for (Source& source : sources_) {
        if (!source.partial.empty()) {
            sink(source.partial);
            source.partial.clear();
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

void LogReader::Drain(Source& source, const LineSink& sink) {
    struct stat status = {};
    if (fstat(source.descriptor, &status) == 0 && status.st_size < source.offset) {
        // Shorter than what was read: the beginning of a line was taken back, or the whole file was emptied.
        const off_t wholeLines = source.offset - static_cast<off_t>(source.partial.size());
        source.offset = status.st_size >= wholeLines ? wholeLines : 0;
        source.partial.clear();
    }
    std::array<char, 65536> block = {};
    for (ssize_t count = 0; (count = pread(source.descriptor, block.data(), block.size(), source.offset)) > 0;) {
        source.offset += count;
        source.partial.append(block.data(), static_cast<size_t>(count));
        size_t start = 0;
        for (size_t end = 0; (end = source.partial.find('\n', start)) != std::string::npos; start = end + 1) {
            sink(source.partial.substr(start, end - start));
        }
        source.partial.erase(0, start);
    }
}
