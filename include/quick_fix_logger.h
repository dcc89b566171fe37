/// The file log: two rotating files of about 64 KiB under /data/update/quickfix/log/.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <fstream>
#include <mutex>
#include <string>

#include "platform/singleton.h"

namespace TEKLO::QuickFixEngine {

// Plain arrays: they outlive the static destructors that may still log.
inline constexpr char QUICK_FIX_LOG_DIR[] = "/data/update/quickfix/log/";
inline constexpr char QUICK_FIX_FIRST_LOG_FILE[] = "/data/update/quickfix/log/quickfix_1.log";
inline constexpr char QUICK_FIX_SECOND_LOG_FILE[] = "/data/update/quickfix/log/quickfix_2.log";

/// Appends records to "quickfix_1.log" or, once it exists, to "quickfix_2.log". The newest records are in the second
/// file, the 64 KiB before them in the first. Reached through the QF_FILE_LOGx macros of quick_fix_log.h.
///
/// One process has one logger, `DelayedSingleton<QuickFixLogger>::GetInstance()`. It is never destroyed, so a
/// record written at exit is safe. The log directory must exist; nothing here creates it.
///
/// Failures lose the record, say why on the platform log only, and never reach the caller. The next record
/// tries again, so the log goes on as soon as a full disk has room.
///
/// Threads: any thread may call `OutputLog`, `RemoveLog`, `GetFormatTime` and `FormatLog`. The other
/// functions are steps of `OutputLog` and expect its mutex held. A fork waits for the record that another thread is
/// writing, so a child can log at once. Signal handlers must not call anything here.
class [[gnu::visibility("default")]] QuickFixLogger {
public:
    /// Opens nothing; that is left to the first record.
    QuickFixLogger();
    virtual ~QuickFixLogger();

    /// Opens the active file for appending, or creates the first one, unless the stream is open already. On
    /// failure the stream stays closed; a first file that can't be created is recorded by `CreateLogFile`. If a killed
    /// process left the beginning of a record at the end of a page, that is cut off first; a file that ends with a whole
    /// line, or that is full, is left as it is.
    void Init();

    /// Creates or empties `path` with permission 0600, gives it the owner of the log directory and leaves it
    /// open, in place of what was open. False when it can't be opened, recorded at error level as "CreateLogFile %{public}s fail".
    bool CreateLogFile(const std::string& path);

    /// Appends one line, "TIME[FILE(FUNCTION):LINE]MSG\n", and hands it to the system before it returns. A
    /// record that can't be written whole leaves nothing behind. Error records: "ChangeFileForOverSize fail"
    /// after a failed rotation, besides those of the steps; debug: "logOfstream_ open fail".
    void OutputLog(const char* msg, const std::string& fileName, const std::string& funcName, int line);

    /// Rotates when the active file has 65536 bytes or more: the second file takes the first one's place and
    /// a new second file is opened. False when the active file can't be examined ("get first log file stat
    /// fail", "get last log file stat fail") or the new one can't be created.
    bool ChangeFileForOverSize();

    /// Writes the local time, "2026-03-01 09:05:07.004", into `buffer` of `size` bytes. False when it doesn't fit,
    /// recorded at error level as "GetFormatTime error, ret : %{public}d"; the buffer is then the empty text.
    bool GetFormatTime(char* buffer, size_t size);

    /// Closes and deletes both files; missing ones are no error. The next record starts anew in the first file.
    void RemoveLog();

    /// `format` without any "{public}": "%{public}s" gives "%s". Writes no record.
    std::string FormatLog(const char* format);

private:
    /// The active file as `ChangeFileForOverSize` last saw it.
    struct ActiveFile {
        const char* path = nullptr;
        off_t size = 0;  // bytes
    };
    [[gnu::visibility("hidden")]] static void LockBeforeFork();
    [[gnu::visibility("hidden")]] static void UnlockAfterFork();
    [[gnu::visibility("hidden")]] void Append(const std::string& record);
    [[gnu::visibility("hidden")]] void RollBackPartialWrite(size_t recordSize) const;

    std::mutex mutex_;
    std::fstream logOfstream_;
    ActiveFile active_;
    std::string record_;  // kept for its memory
    [[gnu::visibility("hidden")]] static const int forkHandlers_;
};

}  // namespace TEKLO::QuickFixEngine

// The library holds the one instance, also for callers that are built with hidden visibility.
extern template class TEKLO::DelayedSingleton<TEKLO::QuickFixEngine::QuickFixLogger>;
