#include "quick_fix_logger.h"

#include <fcntl.h>
#include <pthread.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <locale>
#include <string_view>
#include <utility>

#include "file_utils.h"
#include "quick_fix_log.h"
#include "unique_fd.h"

template class TEKLO::DelayedSingleton<TEKLO::QuickFixEngine::QuickFixLogger>;

namespace TEKLO::QuickFixEngine {
namespace {

constexpr std::string_view PUBLIC_MARKER = "{public}";
constexpr off_t MAX_LOG_SIZE = 65536;
constexpr mode_t LOG_FILE_MODE = 0600;
constexpr size_t TIME_BUFFER_SIZE = 64;

/// Returns whether the text starts with a time stamp or is the start of one.
bool StartsWithTimestamp(std::string_view text) {
    constexpr std::string_view TIMESTAMP_PATTERN = "dddd-dd-dd dd:dd:dd.ddd";
    for (size_t i = 0; i < std::min(text.size(), TIMESTAMP_PATTERN.size()); ++i) {
        const bool isDigit = text[i] >= '0' && text[i] <= '9';
        if (TIMESTAMP_PATTERN[i] == 'd' ? !isDigit : text[i] != TIMESTAMP_PATTERN[i]) {
            return false;
        }
    }
    return !text.empty();
}

// glibc 2.36 locks the time zone in localtime_r and doesn't release the lock in a forked child.
std::mutex g_timeZoneMutex;

std::tm ToLocalTime(std::time_t time) {
    const std::lock_guard<std::mutex> lock(g_timeZoneMutex);
    static bool isZoneRead = false;
    if (!std::exchange(isZoneRead, true)) {
        tzset();  // POSIX does not require localtime_r to read TZ
    }
    std::tm local = {};
    localtime_r(&time, &local);
    return local;
}

off_t GetSize(const UniqueFd& file) {
    struct stat status = {};
    return fstat(file.Get(), &status) == 0 ? status.st_size : -1;
}

// The kernel writes page by page. A process that is killed between two pages leaves a partial record at the end of a
// page. The next record would continue its line. A full file is rotated anyway.
[[gnu::cold]] void TruncatePartialRecord(const char* path) {
    const UniqueFd file(open(path, O_RDWR | O_CLOEXEC));
    const off_t size = GetSize(file);
    if (size <= 0 || size >= MAX_LOG_SIZE || size % sysconf(_SC_PAGESIZE) != 0) {
        return;
    }
    std::string text(static_cast<size_t>(size), '\0');
    if (pread(file.Get(), text.data(), text.size(), 0) != size) {
        return;
    }
    const std::string_view tail = std::string_view(text).substr(text.rfind('\n') + 1);
    // If the file has grown, another process is writing that record.
    if (StartsWithTimestamp(tail) && GetSize(file) == size) {
        (void)!ftruncate(file.Get(), size - static_cast<off_t>(tail.size()));
    }
}

}  // namespace

// Registered when the library is loaded. Without these handlers, a child that is forked while another thread logs or
// creates the logger would wait for the lock forever.
const int QuickFixLogger::forkHandlers_ = pthread_atfork(LockBeforeFork, UnlockAfterFork, UnlockAfterFork);

[[gnu::cold]] void QuickFixLogger::LockBeforeFork() {
    if (const auto logger = DelayedSingleton<QuickFixLogger>::GetInstance()) {
        logger->mutex_.lock();
    }
    g_timeZoneMutex.lock();
}

[[gnu::cold]] void QuickFixLogger::UnlockAfterFork() {
    g_timeZoneMutex.unlock();
    if (const auto logger = DelayedSingleton<QuickFixLogger>::GetInstance()) {
        logger->mutex_.unlock();
    }
}

[[gnu::cold]] QuickFixLogger::QuickFixLogger() {
    logOfstream_.imbue(std::locale::classic());
}

[[gnu::cold]] QuickFixLogger::~QuickFixLogger() {
    if (logOfstream_.is_open()) {
        logOfstream_.close();
    }
}

void QuickFixLogger::Init() {
    if (logOfstream_.is_open()) {
        return;
    }
    if (FileUtils::FileIsExist(QUICK_FIX_SECOND_LOG_FILE)) {
        TruncatePartialRecord(QUICK_FIX_SECOND_LOG_FILE);
        logOfstream_.open(QUICK_FIX_SECOND_LOG_FILE, std::ios::out | std::ios::app);
    } else if (FileUtils::FileIsExist(QUICK_FIX_FIRST_LOG_FILE)) {
        TruncatePartialRecord(QUICK_FIX_FIRST_LOG_FILE);
        logOfstream_.open(QUICK_FIX_FIRST_LOG_FILE, std::ios::out | std::ios::app);
    } else {
        CreateLogFile(QUICK_FIX_FIRST_LOG_FILE);
    }
}

[[gnu::cold]] bool QuickFixLogger::CreateLogFile(const std::string& path) {
    logOfstream_.close();
    if (FileUtils::OpenFile(logOfstream_, path, std::ios::out | std::ios::trunc, LOG_FILE_MODE)) {
        // A stream without std::ios::app would overwrite the records that other processes append.
        logOfstream_.close();
        logOfstream_.open(path, std::ios::out | std::ios::app);
    }
    if (!logOfstream_.is_open()) {
        QF_LOGE("CreateLogFile %{public}s fail", path.c_str());
        return false;
    }
    unsigned int uid = 0;
    unsigned int gid = 0;
    FileUtils::GetPathGidAndUid(QUICK_FIX_LOG_DIR, uid, gid);
    (void)!chown(path.c_str(), uid, gid);
    return true;
}

bool QuickFixLogger::ChangeFileForOverSize() {
    // This function runs for every record. One stat reports both the existence and the size of the second file.
    struct stat status = {};
    const bool hasSecond = stat(QUICK_FIX_SECOND_LOG_FILE, &status) == 0;
    if (!hasSecond && errno != ENOENT && FileUtils::FileIsExist(QUICK_FIX_SECOND_LOG_FILE)) {
        QF_LOGE("get last log file stat fail");
        return false;
    }
    if (!hasSecond && stat(QUICK_FIX_FIRST_LOG_FILE, &status) != 0) {
        QF_LOGE("get first log file stat fail");
        return false;
    }
    active_ = {hasSecond ? QUICK_FIX_SECOND_LOG_FILE : QUICK_FIX_FIRST_LOG_FILE, status.st_size};
    if (active_.size < MAX_LOG_SIZE) {
        return true;
    }
    logOfstream_.close();
    if (hasSecond) {
        remove(QUICK_FIX_FIRST_LOG_FILE);
        FileUtils::RenameFile(QUICK_FIX_SECOND_LOG_FILE, QUICK_FIX_FIRST_LOG_FILE);
    }
    active_ = {QUICK_FIX_SECOND_LOG_FILE, 0};
    return CreateLogFile(QUICK_FIX_SECOND_LOG_FILE);
}

bool QuickFixLogger::GetFormatTime(char* buffer, size_t size) {
    using std::chrono::milliseconds;
    using std::chrono::seconds;
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    const auto second = std::chrono::floor<seconds>(now);
    const auto millisecond = std::chrono::floor<milliseconds>(now - second).count();
    const std::tm local = ToLocalTime(static_cast<std::time_t>(second.count()));
    const int ret = sprintf_s(buffer, size, "%4d-%02d-%02d %02d:%02d:%02d.%03d", local.tm_year + 1900, local.tm_mon + 1,
                              local.tm_mday, local.tm_hour, local.tm_min, local.tm_sec, static_cast<int>(millisecond));
    if (ret < 0) {
        QF_LOGE("GetFormatTime error, ret : %{public}d", ret);
        return false;
    }
    return true;
}

void QuickFixLogger::OutputLog(const char* msg, const std::string& fileName, const std::string& funcName, int line) {
    const std::lock_guard<std::mutex> lock(mutex_);
    Init();
    if (!ChangeFileForOverSize()) {
        QF_LOGE("ChangeFileForOverSize fail");
        return;
    }
    if (!logOfstream_.is_open()) {
        QF_LOGD("logOfstream_ open fail");
        return;
    }
    char time[TIME_BUFFER_SIZE] = {};
    if (!GetFormatTime(time, sizeof(time))) {
        return;
    }
    record_.assign(time).append("[").append(fileName).append("(").append(funcName).append("):");
    record_.append(std::to_string(line)).append("]").append(msg).append("\n");
    Append(record_);
}

void QuickFixLogger::Append(const std::string& record) {
    logOfstream_.write(record.data(), static_cast<std::streamsize>(record.size())).flush();
    if (logOfstream_.good()) {
        return;
    }
    // close() tries to write again, so roll back after it too. Without clear() the stream would reject all later
    // records.
    RollBackPartialWrite(record.size());
    logOfstream_.close();
    logOfstream_.clear();
    RollBackPartialWrite(record.size());
}

// A full disk can cut a write short. The next record would continue the partial line.
[[gnu::cold]] void QuickFixLogger::RollBackPartialWrite(size_t recordSize) const {
    struct stat status = {};
    if (stat(active_.path, &status) == 0 && status.st_size > active_.size &&
        status.st_size < active_.size + static_cast<int64_t>(recordSize)) {
        (void)!truncate(active_.path, active_.size);
    }
}

[[gnu::cold]] void QuickFixLogger::RemoveLog() {
    const std::lock_guard<std::mutex> lock(mutex_);
    logOfstream_.close();
    logOfstream_.clear();
    remove(QUICK_FIX_SECOND_LOG_FILE);
    remove(QUICK_FIX_FIRST_LOG_FILE);
}

[[gnu::cold]] std::string QuickFixLogger::FormatLog(const char* format) {
    std::string text(format);
    for (size_t at = text.find(PUBLIC_MARKER); at != std::string::npos; at = text.find(PUBLIC_MARKER)) {
        text.erase(at, PUBLIC_MARKER.size());
    }
    return text;
}

}  // namespace TEKLO::QuickFixEngine
