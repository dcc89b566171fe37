#include "system/atomic_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <random>

#include "failure.h"

namespace qfctl {

namespace fs = std::filesystem;

namespace {

class ScopedSignalBlock {
public:
    ScopedSignalBlock() {
        sigset_t all = {};
        sigfillset(&all);
        pthread_sigmask(SIG_BLOCK, &all, &former_);
    }
    ~ScopedSignalBlock() { pthread_sigmask(SIG_SETMASK, &former_, nullptr); }
    ScopedSignalBlock(const ScopedSignalBlock&) = delete;
    ScopedSignalBlock& operator=(const ScopedSignalBlock&) = delete;

private:
    sigset_t former_ = {};
};

/// A new file in the directory. The destructor removes it, unless it was renamed to its final name.
class ScopedTempFile {
public:
    explicit ScopedTempFile(int folder) : folder_(folder) {
        std::random_device random;
        do {
            name_ = ".qfctl." + std::to_string(random());
            file_ = UniqueFd(openat(folder_, name_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
        } while (!file_.IsOpen() && errno == EEXIST);
    }
    ~ScopedTempFile() {
        if (file_.IsOpen() && !isInPlace_) {
            unlinkat(folder_, name_.c_str(), 0);
        }
    }
    ScopedTempFile(const ScopedTempFile&) = delete;
    ScopedTempFile& operator=(const ScopedTempFile&) = delete;

    bool IsOpen() const { return file_.IsOpen(); }

    bool Write(const std::string& content) const {
        size_t written = 0;
        while (written < content.size()) {
            const ssize_t count = write(file_.Get(), content.data() + written, content.size() - written);
            if (count < 0 && errno != EINTR) {
                return false;
            }
            written += count > 0 ? static_cast<size_t>(count) : 0;
        }
        return true;
    }

    bool TakeOwnerAndMode(const struct stat& former) const {
        struct stat own = {};
        if (fstat(file_.Get(), &own) != 0) {
            return false;
        }
        const bool isOwned = own.st_uid == former.st_uid && own.st_gid == former.st_gid;
        return (isOwned || fchown(file_.Get(), former.st_uid, former.st_gid) == 0) &&
               fchmod(file_.Get(), former.st_mode & 07777) == 0;
    }

    bool TakeDefaultMode() const {
        const mode_t mask = umask(0);
        umask(mask);
        return fchmod(file_.Get(), 0666 & ~mask) == 0;
    }

    bool Replace(const std::string& name) {
        isInPlace_ = fsync(file_.Get()) == 0 && renameat(folder_, name_.c_str(), folder_, name.c_str()) == 0;
        return isInPlace_;
    }

private:
    int folder_;
    std::string name_;
    UniqueFd file_;
    bool isInPlace_ = false;
};

/// Returns false if a new file in the directory can't get the group of `former`.
bool CanKeepGroup(const struct stat& former, int folder) {
    struct stat status = {};
    // In a set-group-ID directory, new files get the group of the directory.
    const bool isInherited =
        fstat(folder, &status) == 0 && (status.st_mode & S_ISGID) != 0 && status.st_gid == former.st_gid;
    return geteuid() == 0 || isInherited || former.st_gid == getegid() || group_member(former.st_gid) != 0;
}

}  // namespace

FileTarget::FileTarget(const std::string& path) {
    struct stat status = {};
    std::error_code error;
    fs::path resolved = fs::absolute(path);
    if (stat(path.c_str(), &status) == 0) {
        if (!S_ISREG(status.st_mode)) {
            throw Failure(ExitCode::NOT_CHECKED, "it is not a regular file");
        }
        if (status.st_uid != geteuid() && geteuid() != 0) {
            throw Failure(ExitCode::NOT_CHECKED, "it belongs to another user");
        }
        former_ = status;
        resolved = fs::canonical(path, error);
    } else if (lstat(path.c_str(), &status) == 0) {
        throw Failure(ExitCode::NOT_CHECKED, "it is a dangling symbolic link");
    }
    name_ = resolved.filename();
    folder_ = UniqueFd(open(resolved.parent_path().c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    if (error || !folder_.IsOpen() || faccessat(folder_.Get(), ".", W_OK | X_OK, 0) != 0) {
        throw Failure(ExitCode::NOT_CHECKED, error ? error.message() : strerror(errno));
    }
    if (former_ && !CanKeepGroup(*former_, folder_.Get())) {
        throw Failure(ExitCode::NOT_CHECKED, "it belongs to a group that does not include this user");
    }
}

void FileTarget::Write(const std::string& content) const {
    const ScopedSignalBlock signalsWait;
    ScopedTempFile file(folder_.Get());
    const bool isWritten = file.IsOpen() && file.Write(content) &&
                           (former_ ? file.TakeOwnerAndMode(*former_) : file.TakeDefaultMode()) && file.Replace(name_);
    if (!isWritten) {
        throw Failure(ExitCode::NOT_CHECKED, strerror(errno));
    }
}

}  // namespace qfctl
