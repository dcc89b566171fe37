/// The library's way to the file system.
#pragma once

#include <cstdint>
#include <fstream>
#include <string>
#include <vector>

namespace TEKLO::QuickFixEngine {

/// The engine's own directory: who owns it owns what the library makes in the init stage.
inline constexpr char QUICK_FIX_DIR[] = "/data/update/quickfix";

/// The unit of `FileUtils::GetFileSize`.
enum class FileSizeUnit : int32_t {
    BYTE = 0,
    KB = 1,  ///< 1024 bytes
    MB = 2,  ///< 1024 * 1024 bytes
};

/// File and directory operations without state. All texts are bytes; paths are used as given unless said otherwise.
///
/// Failures are told by the result and one record, on the platform log only, at error level unless said
/// otherwise. Nothing throws but `GetDirSize`, and the standard library when memory runs out. Nothing is
/// retried, and races with others on the same paths are not guarded against.
///
/// Threads: any function may be called from any thread. Walks hold one directory open at a time.
class [[gnu::visibility("default")]] FileUtils {
public:
    /// True when the path resolves to an existing object; a dangling link is absent.
    /// Records "filePath is empty"; a missing file is not recorded.
    static bool FileIsExist(const std::string& filePath);

    /// True when the directory can be opened. Writes no record.
    static bool DirIsExist(const std::string& dirPath);

    /// Screens a path by its text; relative paths and links pass.
    ///
    ///     "/data/x", "data/x"    true
    ///     "/data/../x", "/a..b"  false, "path: %{public}s is an invalid path" at info level
    ///     ""                     false, "path is empty"
    static bool IsValidPath(const std::string& path);

    /// Makes one directory with `mode` less the umask; its parent must exist and it must not.
    /// Records "Util mkdir result= %{public}d, errinfo= %{public}s, path= %{public}s ".
    static bool MakeDir(const std::string& path, unsigned int mode);

    /// Creates or empties a file and writes `content`, zero bytes included. Reports the opening alone: true
    /// also when the write fails, on a full disk for example. Records "Failed to open %{public}s".
    static bool MakeFile(const std::string& path, const std::string& content);

    /// The file's size in whole units, rounded towards zero and cut to 32 bits: a file of 2 GiB or more gives
    /// a wrapped number of bytes. -1 on failure ("GetFileSize failed", "get file stat failed") and for an
    /// unknown unit. Unless it failed, records "Util GetFileSize, %{public}s size %{public}d " at info level.
    ///
    ///     1536 bytes    BYTE 1536, KB 1, MB 0
    static int GetFileSize(const std::string& filePath, FileSizeUnit unit);

    /// The sizes of all regular files below the directory in KiB, rounded down; a link to a file counts as its target,
    /// linked directories are not entered, directories that may not be opened are skipped. 0 for what is no directory
    /// ("invalid path"). Throws std::filesystem::filesystem_error on any other error on the way, such as a file that
    /// vanishes.
    static uint64_t GetDirSize(const std::string& dirPath);

    /// The space that an unprivileged user may still use on the directory's file system, in KiB, cut to 32
    /// bits; -1 on failure ("GetDiskFreeSpace failed" when it is no directory that can be opened). Unless it
    /// is none, records "Util GetDiskFreeSpace disk free: %{public}d kb" at info level.
    static int GetDiskFreeSpace(const std::string& path);

    /// Removes everything below the directory, and with `removeSelf` the path itself, whatever it is; a regular file is
    /// removed in either case. A link to a directory has its target emptied before the link is removed.
    ///
    /// False for null ("CleanDir fail, dirPath is null"); without a record when the directory can't be opened, or when
    /// the path of one of its own entries exceeds 4095 bytes; and when reading the directory fails ("readdir failed,
    /// path: %{public}s, err: %{public}s"), after the entries read until then were removed. In these cases the path
    /// itself stays. True in all others: also for a missing path, for an entry that can't be removed, and for any
    /// failure in a subdirectory.
    static bool CleanDir(const char* dirPath, bool removeSelf);

    /// Renames within a file system, replacing `newPath`. Records "rename failed: %{public}s" with the new path.
    static bool RenameFile(const std::string& oldPath, const std::string& newPath);

    /// Opens `stream` with the stream open-mode flags `openMode`, then sets the path's permission bits to `mode`, also
    /// when opening failed. True when the stream is open; false without touching it when the path is not valid, with
    /// "path: %{public}s is an invalid path" at info and at error level (or after "path is empty").
    static bool OpenFile(std::fstream & stream, const std::string& path, unsigned int openMode, unsigned int mode);

    /// Despite its name the FIRST output gets the owner's user id, the SECOND the group id; both 0 when the path can't
    /// be examined. Writes no record.
    static void GetPathGidAndUid(std::string path, unsigned int& uid, unsigned int& gid);

    /// Gives the path the owner and group of /data/update/quickfix (0 and 0 when that is missing), if the process may.
    /// Reports nothing.
    static void SetGidAndUidToQuickFix(const std::string& path);

    /// Copies the tree below `sourceDir` into `destDir`, which is made with 0775 less the umask if it is
    /// missing; files of the same name are overwritten. Both paths must end in "/". Links are followed,
    /// owners, modes and times are not carried over. Stops at the first failure: what was copied stays, but
    /// an empty `destDir` of its own is removed. Note that an empty file is a failure, see `CopyFile`.
    /// Records "opendir failed, path: %{public}s, err: %{public}s"; "readdir failed, path: %{public}s, err: %{public}s"
    /// when reading the directory fails, after the entries read until then were copied; "mkdir failed, path:
    /// %{public}s, err: %{public}s"; "copydir failed, fullSourcePath: %{public}s, fullDestPath: %{public}s" at each level
    /// on the way up, and "copyfile failed, fullSourcePath: %{public}s, fullDestPath: %{public}s".
    static bool CopyDir(const std::string& sourceDir, const std::string& destDir);

    /// Copies one file's bytes, up to the end that the file has when it is read; the destination is created or emptied as
    /// soon as the source's path resolves. False when either can't be opened, when a read, a write or the final flush
    /// fails (a full disk), and for an empty source (its copy is there then). The data is not synchronised to storage.
    /// Records "realpath failed: %{public}s"; other failures leave no record.
    static bool CopyFile(const std::string& sourcePath, const std::string& destPath);

    /// The SHA-256 digest as 64 lowercase hexadecimal digits, in constant memory; empty on failure. After a read error
    /// it is the digest of what was read. Records "filePath: %{public}s" at info level on every call; "filePath:
    /// %{public}s is an invalid path" when there is no such file, "filePath: %{public}s, errorMessage:%{public}s" when
    /// it can't be opened, "sprintf_s error" when the digest can't be rendered.
    static std::string GetFileSHA256(const std::string& filePath);

    /// The file's lines without their line feeds, otherwise untouched; empty on failure as for an empty file.
    /// Holds the whole file. Records "file open failed!!!:%{public}s".
    ///
    ///     "a\n\nb"  {"a", "", "b"}
    ///     "a\r\n"   {"a\r"}
    static std::vector<std::string> ReadLines(const std::string& filePath);

    /// The file's bytes, zero bytes included; empty on failure as for an empty file. Holds the whole file. Records
    /// "filePath: %{public}s is an invalid path", "fail to open file: %{public}s, errinfo: %{public}s".
    static std::string GetFileStream(const std::string& filePath);
};

}  // namespace TEKLO::QuickFixEngine
