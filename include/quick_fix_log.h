/// The log macros.
///
///     QF_LOGD  QF_LOGI  QF_LOGE                 (format, arguments...)   platform log only
///     QF_FILE_LOGD  QF_FILE_LOGI  QF_FILE_LOGE  (format, arguments...)   platform log and file log
///
/// `format` is a string literal in printf format. A conversion may carry a privacy marker, as in `%{public}s`. The
/// platform log shows only arguments that are marked public; the Linux port prints "<private>" for the others. In the
/// platform log, the call's place precedes the text as "[file(function):line] ", in the file log without the blank.
/// `file` is the file name without directory and extension.
///
/// An argument is a number, a pointer or a C string. If the count or the types of the arguments don't match the format,
/// the call doesn't compile.
///
/// The platform log gets the record if its level is at or above `QuickFixPlumeWrapper::level_`. Otherwise QF_LOGx does
/// not evaluate its arguments.
///
/// QF_FILE_LOGx evaluates each argument exactly once and appends to the file log at every level, see
/// quick_fix_logger.h. The file log omits a text that is empty or longer than 1023 bytes. Arguments appear in it in
/// plain text, so these macros reject the marker `{private}` at compile time.
///
/// No macro reports a failure. QF_FILE_LOGx may change errno.
///
/// Threads: any thread may log, even in static destructors and in forked children. Signal handlers must not.
#pragma once

#include <cstddef>
#include <string>

#include "platform/bounds_checked.h"
#include "platform/plume_log.h"
#include "platform/singleton.h"
#include "quick_fix_log_format.h"
#include "quick_fix_logger.h"
#include "quick_fix_plume_wrapper.h"

#define QF_LOG_PREFIX "[%{public}s(%{public}s):%{public}d] "

namespace TEKLO::QuickFixEngine::LogDetail {

constexpr int LOG_TYPE = 3;
constexpr unsigned int LOG_DOMAIN = 0xD002E03;
constexpr const char* LOG_TAG = "QuickFixUitls";
constexpr size_t FILE_MESSAGE_SIZE = 1024;

struct LogSite {
    const char* file;
    const char* function;
    int line;
};

constexpr size_t BaseNameStart(const char* path) {
    size_t start = 0;
    for (size_t i = 0; path[i] != '\0'; ++i) {
        start = path[i] == '/' ? i + 1 : start;
    }
    return start;
}

constexpr size_t BaseNameLength(const char* path) {
    size_t length = 0;
    size_t i = BaseNameStart(path);
    for (const size_t start = i; path[i] != '\0'; ++i) {
        length = path[i] == '.' && i > start ? i - start : length;
    }
    return length == 0 ? i - BaseNameStart(path) : length;
}

/// The name of a source file without directory and extension, computed at compile time.
template <size_t LENGTH>
struct SourceName {
    explicit constexpr SourceName(const char* path) {
        for (size_t i = 0; i < LENGTH; ++i) {
            text[i] = path[BaseNameStart(path) + i];
        }
    }
    char text[LENGTH + 1] = {};
};

template <typename... Args>
void PrintRecord(int platformLevel, const LogSite& site, const char* prefixedFormat, Args... args) {
    PlumePrint(LOG_TYPE, platformLevel, LOG_DOMAIN, LOG_TAG, prefixedFormat, site.file, site.function, site.line,
               args...);
}

constexpr char PUBLIC_MARKER[] = "{public}";
constexpr size_t PUBLIC_MARKER_LENGTH = sizeof(PUBLIC_MARKER) - 1;

constexpr bool EndsWithMarker(const char* text, size_t length) {
    for (size_t i = 1; i <= PUBLIC_MARKER_LENGTH; ++i) {
        if (i > length || text[length - i] != PUBLIC_MARKER[PUBLIC_MARKER_LENGTH - i]) {
            return false;
        }
    }
    return true;
}

/// The result of QuickFixLogger::FormatLog, computed at compile time.
template <size_t LENGTH>
struct FileFormat {
    explicit constexpr FileFormat(const char* format) {
        size_t length = 0;
        for (size_t i = 0; i < LENGTH; ++i) {
            text[length++] = format[i];
            length -= EndsWithMarker(text, length) ? PUBLIC_MARKER_LENGTH : 0;
        }
        text[length] = '\0';
    }
    char text[LENGTH + 1] = {};
};

constexpr size_t LengthOf(const char* text) {
    size_t length = 0;
    while (text[length] != '\0') {
        ++length;
    }
    return length;
}

// Not inlined: one copy serves all argument types.
[[gnu::noinline]] inline void OutputMessage(const LogSite& site, const char* message) {
    const auto logger = DelayedSingleton<QuickFixLogger>::GetInstance();
    if (logger != nullptr) {
        logger->OutputLog(message, site.file, site.function, site.line);
    }
}

// Not inlined: the buffer must not enlarge the stack frame of a recursive caller.
template <typename... Args>
[[gnu::noinline]] void AppendToFileLog(const LogSite& site, const char* format, Args... args) {
    char message[FILE_MESSAGE_SIZE] = {};
    if (sprintf_s(message, sizeof(message), format, args...) > 0) {
        OutputMessage(site, message);
    }
}

template <typename Call>
inline constexpr SourceName<BaseNameLength(Call::File())> SOURCE_NAME(Call::File());

template <typename Call>
inline constexpr FileFormat<LengthOf(Call::Format())> FILE_FORMAT(Call::Format());

// `Call` carries the format for the compile-time check. The format before `args` is unused.
template <typename Call, typename... Args>
void LogToPlatform(Call /*call*/, int platformLevel, const char* function, int line, const char* /*format*/,
                   Args... args) {
    static_assert(FormatFits<Args...>(Call::Format(), true), "the markers of the format don't fit the arguments");
    PrintRecord(platformLevel, {SOURCE_NAME<Call>.text, function, line}, Call::PrefixedFormat(), args...);
}

template <typename Call, typename... Args>
void LogToBoth(Call /*call*/, QuickFixPlumeLevel level, int platformLevel, const char* function, int line,
               const char* /*format*/, Args... args) {
    static_assert(FormatFits<Args...>(Call::Format(), false), "the markers of the format don't fit the arguments");
    const LogSite site = {SOURCE_NAME<Call>.text, function, line};
    if (QuickFixPlumeWrapper::JudgeLevel(level)) {
        PrintRecord(platformLevel, site, Call::PrefixedFormat(), args...);
    }
    AppendToFileLog(site, FILE_FORMAT<Call>.text, args...);
}

}  // namespace TEKLO::QuickFixEngine::LogDetail

#define QF_LOG_FORMAT(format, ...) format

// Creates an object of a type that is unique to the call. A lambda encloses the type, so that the arguments may
// contain lambdas that log. The format is the first variable argument, so that a call without arguments needs no
// extension.
#define QF_LOG_CALL(...)                                                                                          \
    [] {                                                                                                          \
        struct Call {                                                                                             \
            static constexpr const char* File() { return __FILE__; }                                              \
            static constexpr const char* Format() { return QF_LOG_FORMAT(__VA_ARGS__, 0); }                       \
            static constexpr const char* PrefixedFormat() { return QF_LOG_PREFIX QF_LOG_FORMAT(__VA_ARGS__, 0); } \
        };                                                                                                        \
        return Call{};                                                                                            \
    }()

#define QF_LOG_RECORD(level, platformLevel, ...)                                                                 \
    do {                                                                                                         \
        if (::TEKLO::QuickFixEngine::QuickFixPlumeWrapper::JudgeLevel(level)) {                                  \
            ::TEKLO::QuickFixEngine::LogDetail::LogToPlatform(QF_LOG_CALL(__VA_ARGS__), platformLevel, __func__, \
                                                              __LINE__, __VA_ARGS__);                            \
        }                                                                                                        \
    } while (false)

#define QF_FILE_LOG_RECORD(level, platformLevel, ...)                                                           \
    do {                                                                                                        \
        ::TEKLO::QuickFixEngine::LogDetail::LogToBoth(QF_LOG_CALL(__VA_ARGS__), level, platformLevel, __func__, \
                                                      __LINE__, __VA_ARGS__);                                   \
    } while (false)

#define QF_LOGD(...) QF_LOG_RECORD(::TEKLO::QuickFixEngine::QuickFixPlumeLevel::DEBUG, 3, __VA_ARGS__)
#define QF_LOGI(...) QF_LOG_RECORD(::TEKLO::QuickFixEngine::QuickFixPlumeLevel::INFO, 4, __VA_ARGS__)
#define QF_LOGE(...) QF_LOG_RECORD(::TEKLO::QuickFixEngine::QuickFixPlumeLevel::ERROR, 6, __VA_ARGS__)
#define QF_FILE_LOGD(...) QF_FILE_LOG_RECORD(::TEKLO::QuickFixEngine::QuickFixPlumeLevel::DEBUG, 3, __VA_ARGS__)
#define QF_FILE_LOGI(...) QF_FILE_LOG_RECORD(::TEKLO::QuickFixEngine::QuickFixPlumeLevel::INFO, 4, __VA_ARGS__)
#define QF_FILE_LOGE(...) QF_FILE_LOG_RECORD(::TEKLO::QuickFixEngine::QuickFixPlumeLevel::ERROR, 6, __VA_ARGS__)
