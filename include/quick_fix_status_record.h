/// The persisted state of the current patch operation.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace TEKLO::QuickFixEngine {

/// Values of `QuickFixStatus::status` that engines use. The record takes any text.
inline constexpr char QUICK_FIX_STATUS_INIT[] = "init";
inline constexpr char QUICK_FIX_STATUS_LOADED[] = "loaded";
inline constexpr char QUICK_FIX_STATUS_SUCCESS[] = "success";
inline constexpr char QUICK_FIX_STATUS_FAILED[] = "failed";

/// The keys of the first and the third line of the file, and the bytes of a line that are read.
inline constexpr char QUICK_FIX_VERSION_KEY[] = "PatchVersion";
inline constexpr char QUICK_FIX_ERROR_CODE_KEY[] = "ErrorCode";
inline constexpr size_t QUICK_FIX_STATUS_MAX_LINE = 255;

struct QuickFixStatus {
    std::string version;
    std::string status;
    std::string errorCode;  ///< in the text form of error_code_wrapper.h
};

/// Mirrors one small status file, three lines, each ended by a line feed:
///
///     PatchVersion=1.0.2
///     K=success
///     ErrorCode=3,7,
///
/// "K" is the key that the engine chose. Every change is written through at once. Values are not escaped: one with a
/// line feed breaks the file, and nothing here refuses it. Reading goes by the lines' order and takes what follows the
/// first "=", whatever stands before it. It stops at a line without "=", the fields from there on stay empty. A line
/// counts up to its 255th byte; what is behind that is lost on reading, so a long list of error codes comes back cut,
/// even within a number. Neither is told to the caller: whoever writes keeps within it.
///
/// Order: `GetInstance`, one `InitStatusRecord`, then the others. Records go to the platform log and the file log.
///
/// Threads: `GetInstance` may be called from any thread, everything else by one at a time.
class [[gnu::visibility("default")]] QuickFixStatusRecord {
public:
    /// The process's record, empty and without a file until it is initialised.
    static QuickFixStatusRecord& GetInstance();

    /// Sets the file's path, its permission (0600 if not given) and the key of its status line, then reads it; a missing
    /// file gives an empty record and the info record of `GetStatusFromFile`.
    void InitStatusRecord(std::string filePath, std::string statusKey);
    void InitStatusRecord(std::string filePath, unsigned int mode, std::string statusKey);

    /// Writes `status` to the file and leaves the cache as it is. The file is created or emptied and gets the permission
    /// given at initialisation. In the init stage (user 0) it gets 0755 instead and the owner of
    /// /data/update/quickfix. Failure to open is recorded at error level as "SetStatus failed. file path :
    /// %{public}s."; failures to write, to change mode or owner are not told. Records the values at debug level as
    /// "SetStatus version_: %{public}s, status: %{public}s, ErrorCode: %{public}s.".
    void SetStatus(QuickFixStatus & status);

    /// Change what is given, in the cache and in the file. The first two take the rest from the file, not from the cache:
    /// from a file that was deleted they take empty texts. The cache is changed even when the file can't be written.
    void SetStatus(std::string status);
    void SetStatus(std::string status, std::string errorCode);
    void SetStatus(std::string version, std::string status, std::string errorCode);

    /// Reads the file and leaves the cache as it is. An empty result when it can't be opened, recorded at info level as
    /// "can not read %{public}s, may be unexist".
    QuickFixStatus GetStatusFromFile();

    /// Replaces the path; reads and writes nothing.
    void SetStatusFilePath(std::string filePath);

    /// The cache: what was last read at initialisation or set.
    QuickFixStatus GetStatus();

    /// Empties the cache and deletes the file; a missing file is no failure, and none is told.
    void ClearStatusRecord();

private:
    QuickFixStatusRecord() = default;

    std::string filePath_;
    uint32_t mode_ = 0;
    std::string statusKey_;
    QuickFixStatus status_;
};

}  // namespace TEKLO::QuickFixEngine
