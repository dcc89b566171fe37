/// File system operations.
#pragma once

#include <cstdint>
#include <fstream>
#include <string>
#include <vector>

namespace TEKLO::QuickFixEngine {

/// The engine's directory. In the init stage, the status file gets the owner and group of this directory.
inline constexpr char QUICK_FIX_DIR[] = "/data/update/quickfix";

/// The unit of `FileUtils::GetFileSize`.
enum class FileSizeUnit : int32_t {
    BYTE = 0,
    KB = 1,  ///< 1024 bytes
    MB = 2,  ///< 1024 * 1024 bytes
};

/// File and directory operations without state.
///
/// Errors: failures are reported by the return value. The records named below go to the platform log only, at error
/// level unless stated otherwise. `GetDirSize` throws; the other functions throw only std::bad_alloc.
///
/// Paths: an empty path never exists. A path ends at its first zero byte. Links are followed unless stated otherwise.
/// Opening a pipe waits until another process opens its other end.
///
/// Threads: any thread may call any function. Nothing guards against concurrent changes of the same paths. A recursive
/// function holds no directory open while it handles the entries.
class [[gnu::visibility("default")]] FileUtils {
public:
    /// Returns true if the path exists. Returns false for a dangling link, and if a directory of the path can't be
    /// searched. Logs "filePath is empty" for an empty path, otherwise nothing.
    static bool FileIsExist(const std::string& filePath);

    /// Returns true if the path is a directory that can be opened. Logs nothing.
    static bool DirIsExist(const std::string& dirPath);

    /// Checks only the text of a path. Relative paths and links are valid.
    ///
    ///     "/data/x", "data/x"    true
    ///     "/data/../x", "/a..b"  false, logs "path: %{public}s is an invalid path" at info level
    ///     ""                     false, logs "path is empty"
    static bool IsValidPath(const std::string& path);

    /// Creates one directory with the permission bits of `mode` that the umask allows. Fails if the path exists or its
    /// parent does not. A failure logs "Util mkdir result= %{public}d, errinfo= %{public}s, path= %{public}s ".
    static bool MakeDir(const std::string& path, unsigned int mode);

    /// Creates or empties a file and writes `content`. Returns whether the file could be opened: true even if writing
    /// fails, for example on a full disk. If the file can't be opened, logs "Failed to open %{public}s".
    static bool MakeFile(const std::string& path, const std::string& content);

    /// Returns the file's size in whole units, rounded down. Keeps the lower 32 bits: 2 GiB in `BYTE` returns
    /// -2147483648.
    ///
    /// On failure returns -1, and logs "GetFileSize failed" if the file does not exist, otherwise
    /// "get file stat failed". Also returns -1 for an unknown unit. Except on failure, logs
    /// "Util GetFileSize, %{public}s size %{public}d " at info level.
    ///
    ///     1536 bytes    BYTE 1536, KB 1, MB 0
    static int GetFileSize(const std::string& filePath, FileSizeUnit unit);

    /// Returns the total size of all regular files below the directory in KiB, rounded down. A link to a file counts
    /// as the file; a link to a directory is not entered. Directories without read permission are skipped.
    ///
    /// If the path is not a directory, returns 0 and logs "invalid path". Throws std::filesystem::filesystem_error on
    /// any other error, for example if a file vanishes during the walk.
    static uint64_t GetDirSize(const std::string& dirPath);

    /// Returns the space in KiB that an unprivileged user may still use on the directory's file system. Keeps the
    /// lower 32 bits: from 2 TiB the result is wrong and may be negative.
    ///
    /// If the path is not a directory that can be opened, returns -1 and logs "GetDiskFreeSpace failed". Otherwise
    /// logs "Util GetDiskFreeSpace disk free: %{public}d kb" at info level with the result, which is -1 if the query
    /// fails.
    static int GetDiskFreeSpace(const std::string& path);

    /// Removes everything below the directory `dirPath`. If `removeSelf` is set, also removes `dirPath` itself,
    /// whatever its type.
    ///
    /// Links to directories are dangerous: the function empties the target directory, then removes the link. The target
    /// of a link to a file is kept. If `dirPath` is a regular file, it is removed even without `removeSelf`; a
    /// pipe or device is removed only with it.
    ///
    /// Returns false in these cases only, and keeps `dirPath` itself:
    ///
    ///     `dirPath` is null                          logs "CleanDir fail, dirPath is null"
    ///     it is a directory that can't be opened     logs nothing
    ///     the path of an entry exceeds 4095 bytes    logs nothing; stops there
    ///     reading the directory fails                logs "readdir failed, path: %{public}s, err: %{public}s"; the
    ///                                                entries read so far are removed
    ///
    /// Returns true even if the path is empty or missing, an entry can't be removed, or one of these cases occurs in a
    /// subdirectory.
    static bool CleanDir(const char* dirPath, bool removeSelf);

    /// Renames a file or directory within one file system. Replaces an existing `newPath`, unless only one of the two
    /// is a directory or `newPath` is a directory with entries. Links are renamed, not followed. On failure changes
    /// nothing and logs "rename failed: %{public}s" with the new path.
    static bool RenameFile(const std::string& oldPath, const std::string& newPath);

    /// Opens `stream` with the std::ios flags `openMode`. Then sets the permission bits of the path to exactly `mode`,
    /// even if opening failed.
    ///
    /// Returns whether the stream is open. If the stream is already open, it keeps its file, its failbit is set, and
    /// the result is true. If `IsValidPath` rejects the path, touches nothing, returns false and also logs
    /// "path: %{public}s is an invalid path". Other failures are not logged.
    static bool OpenFile(std::fstream & stream, const std::string& path, unsigned int openMode, unsigned int mode);

    /// Despite the name, the FIRST output is the owner's user id and the SECOND the group id. If the path can't be
    /// examined, both are 0, the id of root. Logs nothing.
    static void GetPathGidAndUid(std::string path, unsigned int& uid, unsigned int& gid);

    /// Gives the path the owner and group of /data/update/quickfix, or 0 and 0 if that directory is missing. Does not
    /// report or log failures.
    static void SetGidAndUidToQuickFix(const std::string& path);

    /// Copies the tree below `sourceDir` into `destDir` and overwrites files of the same name. Both paths must end in
    /// "/", and `destDir` must not be below `sourceDir`. Creates missing directories with mode 0775, restricted by the
    /// umask. For a link to a file, copies the file. Owners, modes and times are not copied.
    ///
    /// Stops at the first failure. An empty file, a dangling link and a link to a directory are failures, see
    /// `CopyFile`. Files that were already copied stay. If this call created `destDir` and it is still empty, removes
    /// it.
    ///
    /// Logs the failure, then "copydir failed" for each directory below `sourceDir` whose copy fails because of it:
    ///
    ///     "opendir failed, path: %{public}s, err: %{public}s"
    ///     "mkdir failed, path: %{public}s, err: %{public}s"
    ///     "readdir failed, path: %{public}s, err: %{public}s"    the entries read so far are copied
    ///     "copyfile failed, fullSourcePath: %{public}s, fullDestPath: %{public}s"
    ///     "copydir failed, fullSourcePath: %{public}s, fullDestPath: %{public}s"
    static bool CopyDir(const std::string& sourceDir, const std::string& destDir);

    /// Copies the bytes of a file. If the source exists, creates or empties the destination first, even if the source
    /// then can't be read. The two must be different files: a file copied onto itself is emptied.
    ///
    /// Returns false if either file can't be opened, if a read, a write or the final flush fails, and if the source is
    /// empty. An empty source still creates the destination. Does not synchronise the data to storage. Logs
    /// "realpath failed: %{public}s" if the source does not exist. Other failures are not logged.
    static bool CopyFile(const std::string& sourcePath, const std::string& destPath);

    /// Returns the SHA-256 digest as 64 lowercase hexadecimal digits. Returns "" if the file can't be opened. A read
    /// error counts as the end of the file: a directory has the digest of an empty file. A read that a signal
    /// interrupts is continued; an interrupted open fails.
    ///
    /// Every call logs "filePath: %{public}s" at info level. Failures log:
    ///
    ///     "filePath: %{public}s is an invalid path"              the file does not exist
    ///     "filePath: %{public}s, errorMessage:%{public}s"        the file can't be opened
    ///     "sprintf_s error"                                      a byte can't be formatted; returns the digits before
    static std::string GetFileSHA256(const std::string& filePath);

    /// Returns the file's lines without their line feeds. Returns no lines for an empty file, a directory and a file
    /// that can't be opened. Only the last case logs "file open failed!!!:%{public}s". On a read error, returns the
    /// lines before the one that can't be read completely, and logs nothing.
    ///
    ///     "a\n\nb"  {"a", "", "b"}
    ///     "a\r\n"   {"a\r"}
    static std::vector<std::string> ReadLines(const std::string& filePath);

    /// Returns the file's bytes, including zero bytes. Returns "" for an empty file, a directory and a file that can't
    /// be opened. Logs "filePath: %{public}s is an invalid path" if the file does not exist,
    /// "fail to open file: %{public}s, errinfo: %{public}s" if it can't be opened. On a read error, returns what was
    /// read so far and logs nothing.
    static std::string GetFileStream(const std::string& filePath);
};

}  // namespace TEKLO::QuickFixEngine
