/// The file log: two rotating files of about 64 KiB in /data/update/quickfix/log/.
#pragma once

#include <cstddef>
#include <cstdint>
#include <fstream>
#include <mutex>
#include <string>

#include "platform/singleton.h"

namespace TEKLO::QuickFixEngine {

// Arrays, not strings: static destructors may still log.
inline constexpr char QUICK_FIX_LOG_DIR[] = "/data/update/quickfix/log/";
inline constexpr char QUICK_FIX_FIRST_LOG_FILE[] = "/data/update/quickfix/log/quickfix_1.log";
inline constexpr char QUICK_FIX_SECOND_LOG_FILE[] = "/data/update/quickfix/log/quickfix_2.log";

/// Appends records to "quickfix_2.log", or to "quickfix_1.log" while the second file does not exist. The second file
/// therefore holds the newest records, and the first file holds the 64 KiB before them. Use it through the QF_FILE_LOGx
/// macros of quick_fix_log.h.
///
/// A process has one logger, `DelayedSingleton<QuickFixLogger>::GetInstance()`. It is never destroyed, so static
/// destructors may log. The log directory must exist: the library does not create it.
///
/// A failure loses the record and is not reported to the caller. The platform log records the failure, unless it is a
/// failed write. The next record tries again, so logging resumes when a full disk has space again.
///
/// If another program deletes the only log file, records are lost until `RemoveLog` or a restart. To clear the log
/// from outside, truncate the files. If several processes log, lines do not mix, but no process notices the rotations
/// of another: records can be out of order or lost.
///
/// Threads: any thread may call `OutputLog`, `RemoveLog`, `GetFormatTime` and `FormatLog`. The other functions are
/// steps of `OutputLog`; do not call them while another thread logs. A fork waits until the current record is written,
/// so the child may log immediately. A signal handler must not call any function.
class [[gnu::visibility("default")]] QuickFixLogger {
public:
    /// Opens no file.
    QuickFixLogger();
    virtual ~QuickFixLogger();

    /// Opens the current log file for appending, or creates the first one. Does nothing if the stream is open. On
    /// failure the stream stays closed. If an existing file can't be opened, logs nothing; `CreateLogFile` logs its own
    /// failure.
    ///
    /// A killed process may have left a partial record at the end of the file. This function removes the partial record
    /// before it opens the file, unless the file is full.
    void Init();

    /// Creates or empties `path` with permission 0600 and the owner and group of the log directory. The stream then
    /// appends to it instead of the previous file. On failure closes the stream, returns false and logs
    /// "CreateLogFile %{public}s fail" at error level.
    bool CreateLogFile(const std::string& path);

    /// Appends one line, "TIME[FILE(FUNCTION):LINE]MSG\n", and returns when the kernel has accepted it. `msg` must not
    /// be null. A record that can't be written completely is removed.
    ///
    /// If `ChangeFileForOverSize` fails, logs "ChangeFileForOverSize fail" at error level; if no file is open, logs
    /// "logOfstream_ open fail" at debug level. The steps log their own records. A failed write is not logged.
    void OutputLog(const char* msg, const std::string& fileName, const std::string& funcName, int line);

    /// If the current file has 65536 bytes or more, creates a new second file. An existing second file replaces the
    /// first one. Returns false if the new file can't be created. Also returns false if the current file can't be
    /// examined, and logs "get first log file stat fail" or "get last log file stat fail" at error level.
    bool ChangeFileForOverSize();

    /// Writes the local time, such as "2026-03-01 09:05:07.004", to `buffer` of `size` bytes. If it doesn't fit,
    /// returns false, empties the buffer and logs "GetFormatTime error, ret : %{public}d" at error level.
    ///
    /// Reads TZ at its first call. After a change of TZ, call tzset.
    bool GetFormatTime(char* buffer, size_t size);

    /// Closes and deletes both files. Failures are not reported. The next record creates the first file.
    void RemoveLog();

    /// Returns `format`, which must not be null, without "{public}": "%{public}s" becomes "%s". Logs nothing.
    std::string FormatLog(const char* format);

private:
    /// The state of the current log file at the last call of `ChangeFileForOverSize`.
    struct ActiveFile {
        const char* path = nullptr;
        int64_t size = 0;  // bytes; not off_t, whose width depends on the caller's flags on 32-bit systems
    };
    [[gnu::visibility("hidden")]] static void LockBeforeFork();
    [[gnu::visibility("hidden")]] static void UnlockAfterFork();
    [[gnu::visibility("hidden")]] void Append(const std::string& record);
    [[gnu::visibility("hidden")]] void RollBackPartialWrite(size_t recordSize) const;

    std::mutex mutex_;
    std::fstream logOfstream_;
    ActiveFile active_;
    std::string record_;  // a member, so that its memory is reused
    [[gnu::visibility("hidden")]] static const int forkHandlers_;
};

}  // namespace TEKLO::QuickFixEngine

// The library holds the only instance, even for programs built with hidden visibility.
extern template class TEKLO::DelayedSingleton<TEKLO::QuickFixEngine::QuickFixLogger>;
