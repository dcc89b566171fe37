#include <fcntl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <initializer_list>

#include "diagnosis/checks.h"
#include "quick_fix_logger.h"

namespace qfctl {
namespace {

using TEKLO::QuickFixEngine::QUICK_FIX_FIRST_LOG_FILE;
using TEKLO::QuickFixEngine::QUICK_FIX_LOG_DIR;
using TEKLO::QuickFixEngine::QUICK_FIX_SECOND_LOG_FILE;

constexpr uint64_t KIB = 1024;
constexpr uint64_t NEEDED_SPACE = 2 * 64 * KIB;
constexpr uint64_t STAT_BLOCK = 512;

std::string OwnerOf(const struct stat& status) {
    return std::to_string(status.st_uid) + ":" + std::to_string(status.st_gid);
}

bool IsAccessible(const char* path, int mode) {
    return faccessat(AT_FDCWD, path, mode, AT_EACCESS) == 0;
}

Finding CheckFolder(struct stat& folder) {
    const std::string name = "log-folder";
    const std::string path = std::filesystem::path(QUICK_FIX_LOG_DIR).parent_path();  // without the last "/"
    if (stat(path.c_str(), &folder) != 0) {
        return {name, Severity::ERROR, path + " can't be used: " + strerror(errno),
                "create it, owned by the user that runs the engine"};
    }
    if (!S_ISDIR(folder.st_mode)) {
        return {name, Severity::ERROR, path + " is not a directory", "put a directory in its place"};
    }
    if (!IsAccessible(path.c_str(), W_OK | X_OK)) {
        return {name, Severity::ERROR, path + " can't be written by " + CurrentUser() + ": " + strerror(errno),
                "make it writable, or run as its owner, " + OwnerOf(folder)};
    }
    return {name, Severity::OK, path + " is writable by " + CurrentUser() + ", owner " + OwnerOf(folder), ""};
}

uint64_t AllocatedBytes() {
    uint64_t bytes = 0;
    for (const char* file : {QUICK_FIX_FIRST_LOG_FILE, QUICK_FIX_SECOND_LOG_FILE}) {
        struct stat status = {};
        bytes += lstat(file, &status) == 0 ? static_cast<uint64_t>(status.st_blocks) * STAT_BLOCK : 0;
    }
    return bytes;
}

Finding CheckSpace() {
    const std::string name = "log-space";
    struct statvfs fileSystem = {};
    if (statvfs(QUICK_FIX_LOG_DIR, &fileSystem) != 0) {
        return {name, Severity::UNKNOWN, std::string("the free space can't be read: ") + strerror(errno),
                "check the file system with df"};
    }
    const uint64_t blocks = geteuid() == 0 ? fileSystem.f_bfree : fileSystem.f_bavail;
    const uint64_t free = blocks * fileSystem.f_frsize;
    const uint64_t usable = free + AllocatedBytes();
    const std::string text = std::to_string(free / KIB) + " KiB free on the file system of the log";
    if (usable >= NEEDED_SPACE) {
        return {name, Severity::OK, text, ""};
    }
    return {name, free == 0 ? Severity::ERROR : Severity::WARNING, text + ", less than the log may need",
            "free " + std::to_string((NEEDED_SPACE - usable + KIB - 1) / KIB) + " KiB more for two files of 64 KiB"};
}

Finding CheckFile(const char* path, const struct stat& folder) {
    const std::string name = strrchr(path, '/') + 1;
    struct stat file = {};
    if (lstat(path, &file) != 0) {
        return errno == ENOENT ? Finding{name, Severity::OK, "not written yet", ""}
                               : Finding{name, Severity::UNKNOWN, strerror(errno), "check the file with ls -l"};
    }
    if (S_ISLNK(file.st_mode)) {
        return {name, Severity::WARNING, "a symbolic link: records go to another file", "remove the link"};
    }
    if (!S_ISREG(file.st_mode)) {
        return {name, Severity::ERROR, "not a regular file: writing may block or fail", "remove it"};
    }
    if (!IsAccessible(path, W_OK)) {
        return {name, Severity::ERROR, "can't be written by " + CurrentUser() + ": " + strerror(errno),
                "make it writable, or run as its owner, " + OwnerOf(file)};
    }
    const std::string text = std::to_string(file.st_size) + " bytes, owner " + OwnerOf(file);
    if (OwnerOf(file) != OwnerOf(folder)) {
        return {name, Severity::WARNING, text + ", unlike the folder",
                "chown " + OwnerOf(folder) + " " + std::string(path)};
    }
    return {name, Severity::OK, text, ""};
}

}  // namespace

Findings CheckLog() {
    struct stat folder = {};
    Findings findings = {CheckFolder(folder)};
    if (!S_ISDIR(folder.st_mode) || !IsAccessible(QUICK_FIX_LOG_DIR, X_OK)) {
        return findings;
    }
    findings.push_back(CheckSpace());
    for (const char* file : {QUICK_FIX_FIRST_LOG_FILE, QUICK_FIX_SECOND_LOG_FILE}) {
        findings.push_back(CheckFile(file, folder));
    }
    return findings;
}

}  // namespace qfctl
