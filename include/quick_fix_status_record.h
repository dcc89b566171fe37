/// The persisted state of the current patch operation.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace TEKLO::QuickFixEngine {

/// Values of `QuickFixStatus::status` that engines use. Any other text is allowed.
inline constexpr char QUICK_FIX_STATUS_INIT[] = "init";
inline constexpr char QUICK_FIX_STATUS_LOADED[] = "loaded";
inline constexpr char QUICK_FIX_STATUS_SUCCESS[] = "success";
inline constexpr char QUICK_FIX_STATUS_FAILED[] = "failed";

/// The keys of the first and the third line of the file.
inline constexpr char QUICK_FIX_VERSION_KEY[] = "PatchVersion";
inline constexpr char QUICK_FIX_ERROR_CODE_KEY[] = "ErrorCode";
/// The number of bytes that reading keeps of each line, including its key.
inline constexpr size_t QUICK_FIX_STATUS_MAX_LINE = 255;

struct QuickFixStatus {
    std::string version;
    std::string status;
    std::string errorCode;  ///< in the text form of error_code_wrapper.h
};

/// The state of the patch operation: one file and a cache of it in memory. The file has three lines:
///
///     PatchVersion=1.0.2
///     K=success
///     ErrorCode=3,7,
///
/// "K" is the key that the engine chose. Every change is written to the file immediately.
///
/// Limits, none of which is reported:
///
/// - Values are not escaped. A value with a line feed breaks the file.
/// - Reading identifies the lines by their order and ignores their keys. It stops at the first line without "="; the
///   fields from that line on are empty.
/// - Reading keeps only the first 255 bytes of a line. The cut can split a number in a long list of error codes.
/// - Writing is not atomic. After a failed write, for example on a full disk, the file is incomplete or empty, and the
///   cache holds the new values.
///
/// Call `InitStatusRecord` before the other functions. Records go to the platform log and the file log.
///
/// Threads: any thread may call `GetInstance`. Only one thread at a time may call the other functions.
class [[gnu::visibility("default")]] QuickFixStatusRecord {
public:
    /// Returns the only record of the process. It is destroyed at exit: a static object may use it in its destructor
    /// only if the object was constructed after the first call of `GetInstance`.
    static QuickFixStatusRecord& GetInstance();

    /// Sets the path, the permission bits (0600 by default) and the status key, then reads the file into the cache. If
    /// the file can't be opened, the cache becomes empty, and `GetStatusFromFile` logs its record.
    void InitStatusRecord(std::string filePath, std::string statusKey);
    void InitStatusRecord(std::string filePath, unsigned int mode, std::string statusKey);

    /// Writes `status` to the file but not to the cache. Creates or empties the file and sets its permission bits.
    ///
    /// In the init stage (see sys_utils.h), sets 0755 instead, and the owner and group of /data/update/quickfix. Does
    /// so even if opening fails, for example because `FileUtils::OpenFile` rejects a path that contains "..".
    ///
    /// If opening fails, logs "SetStatus failed. file path : %{public}s." at error level. Otherwise logs
    /// "SetStatus version_: %{public}s, status: %{public}s, ErrorCode: %{public}s." at debug level, even if writing
    /// fails. Every call also logs the record of `SysUtils::GetRunningStage`.
    void SetStatus(QuickFixStatus & status);

    /// Set the given values in the cache and in the file. The first two functions read the remaining values
    /// from the file, not from the cache. If the file can't be opened, the remaining values become empty. The cache
    /// changes even if the file can't be written.
    void SetStatus(std::string status);
    void SetStatus(std::string status, std::string errorCode);
    void SetStatus(std::string version, std::string status, std::string errorCode);

    /// Reads the file and leaves the cache unchanged. If the file can't be opened, returns empty values and logs
    /// "can not read %{public}s, may be unexist" at info level.
    QuickFixStatus GetStatusFromFile();

    /// Changes the path only: no file is read, written or renamed, and the cache stays.
    void SetStatusFilePath(std::string filePath);

    /// Returns the cache. Does not read the file.
    QuickFixStatus GetStatus();

    /// Empties the cache and deletes the file. A failure to delete the file is not reported.
    void ClearStatusRecord();

private:
    QuickFixStatusRecord() = default;

    std::string filePath_;
    uint32_t mode_ = 0;
    std::string statusKey_;
    QuickFixStatus status_;
};

}  // namespace TEKLO::QuickFixEngine
