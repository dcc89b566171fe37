// OpenSSL 3.0 deprecates the incremental SHA256 functions. They need no allocation and can't fail.
#define OPENSSL_SUPPRESS_DEPRECATED

#include "file_utils.h"

#include <dirent.h>
#include <fcntl.h>
#include <linux/openat2.h>
#include <openssl/sha.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/vfs.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>
#include <sstream>
#include <system_error>
#include <utility>

#include "directory_listing.h"
#include "file_digest.h"
#include "interrupted_read.h"
#include "platform/bounds_checked.h"
#include "quick_fix_log.h"
#include "scoped_c_locale.h"

namespace TEKLO::QuickFixEngine {
namespace {

namespace fs = std::filesystem;

constexpr mode_t COPIED_DIR_MODE = 0775;
constexpr size_t DIGEST_READ_SIZE = 1024;
constexpr size_t DIGEST_STDIO_BUFFER_SIZE = 64 * 1024;
// libstdc++ leaves one byte of the buffer unused, so a read has 128 KiB.
constexpr size_t COPY_BUFFER_SIZE = 128 * 1024 + 1;
// The buffer is page-aligned. A read can take three times as long if its buffer starts a few bytes after a page
// boundary, as a large heap block does.
struct alignas(4096) Page {
    char bytes[4096];
};
constexpr unsigned int KIB_SHIFT = 10;
constexpr int64_t BYTES_PER_KIB = 1024;
constexpr int64_t BYTES_PER_MIB = 1024 * 1024;

using Digest = std::array<unsigned char, SHA256_DIGEST_LENGTH>;

using PathBuffer = std::array<char, PATH_MAX>;

// Not inlined, so that the buffer is not part of each frame of the recursion.
[[gnu::noinline]] bool JoinPath(const char* dirPath, const std::string& name, std::string& joined) {
    PathBuffer path = {};
    const size_t length = strlen(dirPath);
    const char* separator = length > 0 && dirPath[length - 1] == '/' ? "" : "/";
    if (strcpy_s(path.data(), path.size(), dirPath) != 0 || strcat_s(path.data(), path.size(), separator) != 0 ||
        strcat_s(path.data(), path.size(), name.c_str()) != 0) {
        return false;
    }
    joined = path.data();
    return true;
}

/// The source of a copy.
class SourceBuffer : public std::filebuf {
public:
    /// Returns false if bytes that were read have not been written.
    bool IsDelivered() const { return gptr() == egptr(); }
};

/// Returns the text of strerror in the "C" locale.
const char* ErrorText(int error = errno) {
    const ScopedCLocale cLocale;
    return strerror(error);
}

/// Returns false if the path of an entry is too long.
bool RemoveEntries(const char* dirPath, const std::vector<DirectoryEntry>& entries) {
    std::string child;
    for (const DirectoryEntry& entry : entries) {
        if (!JoinPath(dirPath, entry.name, child)) {
            return false;
        }
        if (entry.IsDot()) {
            continue;
        }
        FileUtils::CleanDir(child.c_str(), false);
        remove(child.c_str());
    }
    return true;
}

/// Returns the path of an entry, with "/" at its end for a directory.
std::string EntryPath(const std::string& dirPath, const DirectoryEntry& entry) {
    return dirPath + entry.name + (entry.type == DT_DIR ? "/" : "");
}

/// Copies the entries up to the first failure. Returns the entry that could not be copied, or nullptr.
const DirectoryEntry* CopyEntries(const std::vector<DirectoryEntry>& entries, const std::string& sourceDir,
                                  const std::string& destDir) {
    for (const DirectoryEntry& entry : entries) {
        if (entry.IsDot()) {
            continue;
        }
        const std::string source = EntryPath(sourceDir, entry);
        const std::string dest = EntryPath(destDir, entry);
        if (!(entry.type == DT_DIR ? FileUtils::CopyDir(source, dest) : FileUtils::CopyFile(source, dest))) {
            return &entry;
        }
    }
    return nullptr;
}

/// Returns the lower 32 bits of the size in whole units, or -1 for an unknown unit.
int SizeInUnit(int64_t bytes, FileSizeUnit unit) {
    switch (unit) {
        case FileSizeUnit::BYTE:
            return static_cast<int>(bytes);
        case FileSizeUnit::KB:
            return static_cast<int>(bytes / BYTES_PER_KIB);
        case FileSizeUnit::MB:
            return static_cast<int>(bytes / BYTES_PER_MIB);
    }
    return -1;
}

/// Returns the size of a regular file, following links; 0 for other types and dangling links. Throws
/// fs::filesystem_error if stat fails for another reason. Calls stat itself: on 32-bit systems, file_size of
/// libstdc++ 12 fails for a file with a time after 2038.
uint64_t RegularFileSize(const fs::directory_entry& entry) {
    struct stat status = {};
    if (stat(entry.path().c_str(), &status) == 0) {
        return S_ISREG(status.st_mode) ? static_cast<uint64_t>(status.st_size) : 0;
    }
    const std::error_code error(errno, std::generic_category());
    const bool missing = error == std::errc::no_such_file_or_directory || error == std::errc::not_a_directory;
    if (missing && entry.is_symlink()) {
        return 0;
    }
    throw fs::filesystem_error("cannot get file size", entry.path(), error);
}

/// Opens an absolute path that contains no links, for reading. Makes one system call, while realpath makes one per
/// component. Returns -1 for any other path, if the file can't be opened, on kernels before Linux 5.6, and if a sandbox
/// denies the call.
int OpenCanonical(const std::string& path) {
    if (path.empty() || path[0] != '/' || path.size() >= PATH_MAX) {
        errno = EINVAL;
        return -1;
    }
    struct open_how how = {};
    how.flags = O_CLOEXEC | O_LARGEFILE;  // for reading
    how.resolve = RESOLVE_NO_SYMLINKS;
    return static_cast<int>(syscall(SYS_openat2, AT_FDCWD, path.c_str(), &how, sizeof(how)));
}

DigestSource OpenByName(const std::string& path) {
    DigestSource source;
    const int descriptor = OpenCanonical(path);
    // An interrupted open is not retried: a caller may use a signal to end the wait for a pipe.
    const bool isInterrupted = descriptor < 0 && errno == EINTR;
    source.exists = descriptor >= 0 || isInterrupted || FileUtils::FileIsExist(path);
    if (descriptor >= 0) {
        source.SetDescriptor(descriptor);
    } else if (isInterrupted) {
        source.error = EINTR;
    } else if (source.exists) {
        source.SetFile(fopen(path.c_str(), "rb"));
    }
    return source;
}

Digest ComputeDigest(FILE* file) {
    SHA256_CTX context = {};
    SHA256_Init(&context);
    std::array<char, DIGEST_READ_SIZE + 1> block = {};
    while (feof(file) == 0) {
        memset_s(block.data(), block.size(), 0, block.size());
        const size_t count = fread(block.data(), 1, DIGEST_READ_SIZE, file);
        if (!WasInterrupted(file) && count == 0) {
            break;
        }
        SHA256_Update(&context, block.data(), count);
    }
    Digest digest = {};
    SHA256_Final(digest.data(), &context);
    return digest;
}

}  // namespace

void DigestSource::SetFile(FILE* opened) {
    error = opened == nullptr ? errno : 0;
    file.reset(opened);
    if (file != nullptr) {
        buffer.reset(new char[DIGEST_STDIO_BUFFER_SIZE]);
        setvbuf(file.get(), buffer.get(), _IOFBF, DIGEST_STDIO_BUFFER_SIZE);
    }
}

void DigestSource::SetDescriptor(int descriptor) {
    SetFile(fdopen(descriptor, "rb"));
    if (file == nullptr) {
        close(descriptor);
    }
}

FileDigest GetFileSHA256(const std::string& filePath, const std::function<const DigestSource&()>& open) {
    QF_LOGI("filePath: %{public}s", filePath.c_str());
    const DigestSource& source = open();
    if (!source.exists) {
        QF_LOGE("filePath: %{public}s is an invalid path", filePath.c_str());
        return {};
    }
    if (source.file == nullptr) {
        QF_LOGE("filePath: %{public}s, errorMessage:%{public}s", filePath.c_str(), ErrorText(source.error));
        return {};
    }
    const Digest digest = ComputeDigest(source.file.get());

    char text[2 * SHA256_DIGEST_LENGTH + 1] = {};
    for (size_t i = 0; i < digest.size(); ++i) {
        if (sprintf_s(text + 2 * i, sizeof(text), "%02x", digest[i]) < 0) {
            QF_LOGE("sprintf_s error");
            break;
        }
    }
    FILE* file = source.file.get();
    const bool isRead = feof(file) != 0 && ferror(file) == 0;
    return {text, isRead && strlen(text) == sizeof(text) - 1};
}

bool FileUtils::FileIsExist(const std::string& filePath) {
    if (filePath.empty()) {
        QF_LOGE("filePath is empty");
        return false;
    }
    PathBuffer canonicalPath = {};
    return realpath(filePath.c_str(), canonicalPath.data()) != nullptr;
}

bool FileUtils::DirIsExist(const std::string& dirPath) {
    return OpenDirectory(dirPath) != nullptr;
}

bool FileUtils::IsValidPath(const std::string& path) {
    if (path.empty()) {
        QF_LOGE("path is empty");
        return false;
    }
    if (path.find("..") != std::string::npos) {
        QF_LOGI("path: %{public}s is an invalid path", path.c_str());
        return false;
    }
    return true;
}

bool FileUtils::MakeDir(const std::string& path, unsigned int mode) {
    const int result = mkdir(path.c_str(), mode);
    if (result != 0) {
        QF_LOGE("Util mkdir result= %{public}d, errinfo= %{public}s, path= %{public}s ", result, ErrorText(),
                path.c_str());
        return false;
    }
    return true;
}

bool FileUtils::MakeFile(const std::string& path, const std::string& content) {
    std::ofstream file(path, std::ios::out | std::ios::binary);
    if (!file.is_open()) {
        QF_LOGE("Failed to open %{public}s", path.c_str());
        return false;
    }
    file.write(content.data(), static_cast<std::streamsize>(content.size()));
    return true;
}

int FileUtils::GetFileSize(const std::string& filePath, FileSizeUnit unit) {
    if (!FileIsExist(filePath)) {
        QF_LOGE("GetFileSize failed");
        return -1;
    }
    struct stat status = {};
    if (stat(filePath.c_str(), &status) != 0) {
        QF_LOGE("get file stat failed");
        return -1;
    }
    const int size = SizeInUnit(status.st_size, unit);
    QF_LOGI("Util GetFileSize, %{public}s size %{public}d ", filePath.c_str(), size);
    return size;
}

uint64_t FileUtils::GetDirSize(const std::string& dirPath) {
    struct stat status = {};
    if (stat(dirPath.c_str(), &status) != 0 || !S_ISDIR(status.st_mode)) {
        QF_LOGE("invalid path");
        return 0;
    }
    // One directory at a time, because fs::recursive_directory_iterator keeps the directory of every level open.
    uint64_t total = 0;
    std::vector<fs::path> pending = {dirPath};
    while (!pending.empty()) {
        const fs::path directory = std::move(pending.back());
        pending.pop_back();
        for (const auto& entry : fs::directory_iterator(directory, fs::directory_options::skip_permission_denied)) {
            if (entry.is_symlink()) {
                total += RegularFileSize(entry);
            } else if (entry.is_directory()) {
                pending.push_back(entry.path());
            } else if (entry.is_regular_file()) {
                total += RegularFileSize(entry);
            }
        }
    }
    return total >> KIB_SHIFT;
}

int FileUtils::GetDiskFreeSpace(const std::string& path) {
    if (!DirIsExist(path)) {
        QF_LOGE("GetDiskFreeSpace failed");
        return -1;
    }
    int freeKib = -1;
    struct statfs status = {};
    if (statfs(path.c_str(), &status) == 0) {
        const uint64_t freeBytes = uint64_t{status.f_bavail} * static_cast<uint64_t>(status.f_bsize);
        freeKib = static_cast<int>(freeBytes >> KIB_SHIFT);
    }
    QF_LOGI("Util GetDiskFreeSpace disk free: %{public}d kb", freeKib);
    return freeKib;
}

bool FileUtils::CleanDir(const char* dirPath, bool removeSelf) {
    if (dirPath == nullptr) {
        QF_LOGE("CleanDir fail, dirPath is null");
        return false;
    }
    struct stat status = {};
    (void)!stat(dirPath, &status);
    if (S_ISDIR(status.st_mode)) {
        Directory directory = OpenDirectory(dirPath);
        if (directory == nullptr) {
            return false;
        }
        const DirectoryListing listing = ReadEntries(std::move(directory));
        if (!RemoveEntries(dirPath, listing.entries)) {
            return false;
        }
        if (listing.error != 0) {
            QF_LOGE("readdir failed, path: %{public}s, err: %{public}s", dirPath, ErrorText(listing.error));
            return false;
        }
    }
    if (S_ISREG(status.st_mode)) {
        remove(dirPath);
    }
    if (removeSelf) {
        remove(dirPath);
    }
    return true;
}

bool FileUtils::RenameFile(const std::string& oldPath, const std::string& newPath) {
    if (rename(oldPath.c_str(), newPath.c_str()) != 0) {
        QF_LOGE("rename failed: %{public}s", newPath.c_str());
        return false;
    }
    return true;
}

bool FileUtils::OpenFile(std::fstream& stream, const std::string& path, unsigned int openMode, unsigned int mode) {
    if (!IsValidPath(path)) {
        QF_LOGE("path: %{public}s is an invalid path", path.c_str());
        return false;
    }
    stream.open(path, static_cast<std::ios::openmode>(openMode));
    (void)!chmod(path.c_str(), mode);
    return stream.is_open();
}

void FileUtils::GetPathGidAndUid(std::string path, unsigned int& uid, unsigned int& gid) {
    struct stat status = {};
    (void)!stat(path.c_str(), &status);
    uid = status.st_uid;
    gid = status.st_gid;
}

void FileUtils::SetGidAndUidToQuickFix(const std::string& path) {
    unsigned int uid = 0;
    unsigned int gid = 0;
    GetPathGidAndUid(QUICK_FIX_DIR, uid, gid);
    (void)!chown(path.c_str(), uid, gid);
}

bool FileUtils::CopyDir(const std::string& sourceDir, const std::string& destDir) {
    Directory directory = OpenDirectory(sourceDir);
    if (directory == nullptr) {
        QF_LOGE("opendir failed, path: %{public}s, err: %{public}s", sourceDir.c_str(), ErrorText());
        return false;
    }
    const bool destExisted = DirIsExist(destDir);
    if (!destExisted && mkdir(destDir.c_str(), COPIED_DIR_MODE) != 0) {
        QF_LOGE("mkdir failed, path: %{public}s, err: %{public}s", destDir.c_str(), ErrorText());
        return false;
    }
    const DirectoryListing listing = ReadEntries(std::move(directory));
    const DirectoryEntry* failed = CopyEntries(listing.entries, sourceDir, destDir);
    if (failed == nullptr && listing.error == 0) {
        return true;
    }
    if (failed == nullptr) {
        QF_LOGE("readdir failed, path: %{public}s, err: %{public}s", sourceDir.c_str(), ErrorText(listing.error));
    } else if (failed->type == DT_DIR) {
        QF_LOGE("copydir failed, fullSourcePath: %{public}s, fullDestPath: %{public}s",
                EntryPath(sourceDir, *failed).c_str(), EntryPath(destDir, *failed).c_str());
    } else {
        QF_LOGE("copyfile failed, fullSourcePath: %{public}s, fullDestPath: %{public}s",
                EntryPath(sourceDir, *failed).c_str(), EntryPath(destDir, *failed).c_str());
    }
    if (!destExisted) {
        remove(destDir.c_str());
    }
    return false;
}

bool FileUtils::CopyFile(const std::string& sourcePath, const std::string& destPath) {
    PathBuffer canonicalSource = {};
    if (realpath(sourcePath.c_str(), canonicalSource.data()) == nullptr) {
        QF_LOGE("realpath failed: %{public}s", sourcePath.c_str());
        return false;
    }
    const std::unique_ptr<Page[]> buffer(new Page[COPY_BUFFER_SIZE / sizeof(Page) + 1]);
    SourceBuffer source;
    source.pubsetbuf(buffer[0].bytes, COPY_BUFFER_SIZE);
    source.open(canonicalSource.data(), std::ios::in);
    std::ofstream dest(destPath);
    if (!source.is_open() || !dest.is_open()) {
        return false;
    }
    dest << &source;
    if (dest.fail()) {
        dest.clear();
        return false;
    }
    // The insertion succeeds if it wrote at least one byte. If the disk fills up later, the flush fails, or bytes that
    // were read remain in the source's buffer.
    dest.flush();
    return dest.good() && source.IsDelivered();
}

std::string FileUtils::GetFileSHA256(const std::string& filePath) {
    DigestSource source;
    return QuickFixEngine::GetFileSHA256(filePath,
                                         [&]() -> const DigestSource& { return source = OpenByName(filePath); })
        .text;
}

std::vector<std::string> FileUtils::ReadLines(const std::string& filePath) {
    std::ifstream file(filePath);
    if (!file.is_open()) {
        QF_LOGE("file open failed!!!:%{public}s", filePath.c_str());
        return {};
    }
    std::vector<std::string> lines;
    for (std::string line; std::getline(file, line);) {
        lines.push_back(line);
    }
    return lines;
}

std::string FileUtils::GetFileStream(const std::string& filePath) {
    PathBuffer canonicalPath = {};
    if (realpath(filePath.c_str(), canonicalPath.data()) == nullptr) {
        QF_LOGE("filePath: %{public}s is an invalid path", filePath.c_str());
        return "";
    }
    const std::ifstream file(canonicalPath.data(), std::ios::in | std::ios::binary);
    if (!file.is_open()) {
        QF_LOGE("fail to open file: %{public}s, errinfo: %{public}s", canonicalPath.data(), ErrorText());
        return "";
    }
    std::ostringstream content;
    content << file.rdbuf();
    return content.str();
}

}  // namespace TEKLO::QuickFixEngine
