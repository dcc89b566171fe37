#include "atomic_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>

namespace fs = std::filesystem;

namespace {

/// A new file beside the one that it is to replace; removed again unless it takes that place.
class NeighbourFile {
public:
    explicit NeighbourFile(const std::string& path) : name_(path + ".XXXXXX"), descriptor_(mkstemp(name_.data())) {}
    ~NeighbourFile() {
        if (descriptor_ < 0) {
            return;
        }
        close(descriptor_);
        if (!inPlace_) {
            unlink(name_.c_str());
        }
    }
    NeighbourFile(const NeighbourFile&) = delete;
    NeighbourFile& operator=(const NeighbourFile&) = delete;

    bool IsOpen() const { return descriptor_ >= 0; }

    bool Write(const std::string& content) const {
        size_t written = 0;
        while (written < content.size()) {
            const ssize_t count = write(descriptor_, content.data() + written, content.size() - written);
            if (count < 0 && errno != EINTR) {
                return false;
            }
            written += count > 0 ? static_cast<size_t>(count) : 0;
        }
        return true;
    }

    bool Replace(const std::string& path) {
        const mode_t mask = umask(0);
        umask(mask);
        inPlace_ = fchmod(descriptor_, 0666 & ~mask) == 0 && fsync(descriptor_) == 0 &&
                   rename(name_.c_str(), path.c_str()) == 0;
        return inPlace_;
    }

private:
    std::string name_;
    int descriptor_;
    bool inPlace_ = false;
};

}  // namespace

std::string WhyNotWritable(const std::string& path) {
    struct stat status = {};
    const bool found = stat(path.c_str(), &status) == 0;
    if (found && !S_ISREG(status.st_mode)) {
        return "it is not a regular file";
    }
    if (!found && lstat(path.c_str(), &status) == 0) {
        return "it is a link to nowhere";
    }
    const std::string folder = fs::absolute(path).parent_path();
    return access(folder.c_str(), W_OK) == 0 ? "" : strerror(errno);
}

std::string WriteWhole(const std::string& path, const std::string& content) {
    std::error_code error;
    const fs::path resolved = fs::canonical(path, error);  // a link stays, its target is replaced
    const std::string target = error ? path : resolved.string();
    NeighbourFile file(target);
    return file.IsOpen() && file.Write(content) && file.Replace(target) ? "" : strerror(errno);
}
