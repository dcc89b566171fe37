#include "system/folder_lock.h"

#include <fcntl.h>
#include <sys/file.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <thread>

#include "failure.h"
#include "text/escape.h"

namespace qfctl {

namespace fs = std::filesystem;

namespace {

using std::chrono::steady_clock;

constexpr auto TIMEOUT = std::chrono::seconds(10);
constexpr auto POLL_INTERVAL = std::chrono::milliseconds(20);
constexpr int MAX_LINKS = 40;

/// Resolves symbolic links at the end of the path, including dangling ones, and returns the directory.
fs::path FindFolder(fs::path path) {
    std::error_code error;
    for (int links = 0; links < MAX_LINKS && fs::is_symlink(path, error); ++links) {
        path = path.parent_path() / fs::read_symlink(path, error);
    }
    return fs::absolute(path).parent_path();
}

}  // namespace

FolderLock::FolderLock(const std::string& file, int operation)
    : folder_(open(FindFolder(file).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {
    const auto fail = [&file](const char* reason) {
        throw Failure(ExitCode::NOT_CHECKED, "the folder of " + Quote(file) + " can't be locked: " + reason);
    };
    if (!folder_.IsOpen()) {
        const bool isLockNeeded = errno != ENOENT && errno != ENOTDIR && (errno != EACCES || operation != LOCK_SH);
        if (isLockNeeded) {
            fail(strerror(errno));
        }
        return;
    }
    const auto deadline = steady_clock::now() + TIMEOUT;
    while (flock(folder_.Get(), operation | LOCK_NB) != 0) {
        if (errno != EWOULDBLOCK || steady_clock::now() >= deadline) {
            fail(errno == EWOULDBLOCK ? "another process holds the lock" : strerror(errno));
        }
        std::this_thread::sleep_for(POLL_INTERVAL);
    }
}

}  // namespace qfctl
