/// The log macros.
///
///     QF_LOGD  QF_LOGI  QF_LOGE                 (format, arguments...)   platform log only
///     QF_FILE_LOGD  QF_FILE_LOGI  QF_FILE_LOGE  (format, arguments...)   platform log and file log
///
/// `format` is a string literal in printf's language. A conversion may carry a privacy marker, `%{public}s`: the
/// platform shows only what is marked public. In front of the text the macro puts the place it is used at,
/// "[file(function):line] ", the file without folder and ending. A format that doesn't fit its arguments, in number or
/// kind, doesn't compile. An argument may be any expression of a number, pointer or C string, one with a lambda included.
///
/// The platform log gets the record when its level is at or above `QuickFixPlumeWrapper::level_`; the arguments of
/// QF_LOGx are evaluated only then. The QF_FILE_LOGx macros evaluate each argument once and append the text to the file
/// log whatever the level, see quick_fix_logger.h; a text of more than 1023 bytes, or an empty one, is left out of the
/// file log. There every argument stands in clear, so these macros refuse the marker `{private}`.
///
/// Threads: any. Also while static destructors run.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <type_traits>

#include "platform/bounds_checked.h"
#include "platform/plume_log.h"
#include "platform/singleton.h"
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

/// A source file's name without folder and ending, made at compile time.
template <size_t LENGTH>
struct SourceName {
    explicit constexpr SourceName(const char* path) {
        for (size_t i = 0; i < LENGTH; ++i) {
            text[i] = path[BaseNameStart(path) + i];
        }
    }
    char text[LENGTH + 1] = {};
};

enum class ArgumentKind { INT, LONG, LONG_LONG, DOUBLE, LONG_DOUBLE, STRING, POINTER, OTHER };

template <typename T, typename Pointee = std::remove_cv_t<std::remove_pointer_t<T>>>
constexpr bool IsText = std::is_pointer_v<T> &&
                        (std::is_same_v<Pointee, char> || std::is_same_v<Pointee, signed char> ||
                         std::is_same_v<Pointee, unsigned char>);

template <typename T>
constexpr ArgumentKind KindOf() {
    if constexpr (IsText<T>) {
        return ArgumentKind::STRING;
    } else if constexpr (std::is_pointer_v<T> || std::is_null_pointer_v<T>) {
        return ArgumentKind::POINTER;
    } else if constexpr (std::is_same_v<T, float> || std::is_same_v<T, double>) {
        return ArgumentKind::DOUBLE;
    } else if constexpr (std::is_same_v<T, long double>) {
        return ArgumentKind::LONG_DOUBLE;
    } else if constexpr (std::is_integral_v<T> || (std::is_enum_v<T> && std::is_convertible_v<T, long long>)) {
        using Promoted = std::make_signed_t<decltype(+T{})>;
        return std::is_same_v<Promoted, int>         ? ArgumentKind::INT
               : std::is_same_v<Promoted, long>      ? ArgumentKind::LONG
               : std::is_same_v<Promoted, long long> ? ArgumentKind::LONG_LONG
                                                     : ArgumentKind::OTHER;
    } else {
        return ArgumentKind::OTHER;
    }
}

constexpr bool IsOneOf(char wanted, const char* set) {
    while (*set != '\0' && *set != wanted) {
        ++set;
    }
    return *set != '\0' && wanted != '\0';
}

/// Behind `prefix` when the text begins with it, else where it was.
constexpr const char* SkipPrefix(const char* text, const char* prefix) {
    const char* at = text;
    while (*prefix != '\0') {
        if (*at++ != *prefix++) {
            return text;
        }
    }
    return at;
}

constexpr const char* SkipAll(const char* text, const char* set) {
    while (IsOneOf(*text, set)) {
        ++text;
    }
    return text;
}

/// Behind a width or a precision, digits or one star, which is counted.
constexpr const char* SkipNumber(const char* text, int& stars) {
    if (*text != '*') {
        return SkipAll(text, "0123456789");
    }
    ++stars;
    return text + 1;
}

constexpr bool Equals(const char* begin, const char* end, const char* text) {
    while (begin != end && *text != '\0' && *begin == *text) {
        ++begin;
        ++text;
    }
    return begin == end && *text == '\0';
}

constexpr ArgumentKind IntegerKind(const char* modifier, const char* letter) {
    struct Row {
        const char* modifier;
        ArgumentKind kind;
    };
    constexpr Row rows[] = {
        {"", ArgumentKind::INT},   {"hh", ArgumentKind::INT},       {"h", ArgumentKind::INT},
        {"l", ArgumentKind::LONG}, {"ll", ArgumentKind::LONG_LONG}, {"z", KindOf<size_t>()},
        {"j", KindOf<intmax_t>()}, {"t", KindOf<ptrdiff_t>()},
    };
    for (const Row& row : rows) {
        if (Equals(modifier, letter, row.modifier)) {
            return row.kind;
        }
    }
    return ArgumentKind::OTHER;
}

/// The kind that a conversion takes, from its length modifier and its letter; `OTHER` for one that isn't known.
constexpr ArgumentKind ConversionKind(const char* modifier, const char* letter) {
    if (IsOneOf(*letter, "diouxX")) {
        return IntegerKind(modifier, letter);
    }
    if (IsOneOf(*letter, "aAeEfFgG")) {
        const bool isDouble = Equals(modifier, letter, "") || Equals(modifier, letter, "l");
        return isDouble                        ? ArgumentKind::DOUBLE
               : Equals(modifier, letter, "L") ? ArgumentKind::LONG_DOUBLE
                                               : ArgumentKind::OTHER;
    }
    if (!Equals(modifier, letter, "")) {
        return ArgumentKind::OTHER;
    }
    switch (*letter) {
        case 's':
            return ArgumentKind::STRING;
        case 'c':
            return ArgumentKind::INT;
        case 'p':
            return ArgumentKind::POINTER;
        default:
            return ArgumentKind::OTHER;
    }
}

constexpr bool Takes(ArgumentKind wanted, ArgumentKind given) {
    const bool text = wanted == ArgumentKind::POINTER && given == ArgumentKind::STRING;
    return given != ArgumentKind::OTHER && (wanted == given || text);
}

/// True when the conversions of `format` take exactly these arguments. `privateMarker` says whether `{private}` may be
/// used.
template <typename... Args>
constexpr bool FormatFits(const char* format, bool privateMarker) {
    const ArgumentKind given[] = {KindOf<Args>()..., ArgumentKind::OTHER};
    size_t next = 0;
    int stars = 0;
    for (const char* at = format; *at != '\0'; ++at) {
        if (*at != '%') {
            continue;
        }
        if (*++at == '%') {
            continue;
        }
        at = SkipPrefix(at, "{public}");
        at = privateMarker ? SkipPrefix(at, "{private}") : at;
        at = SkipNumber(SkipAll(at, "-+ #0"), stars);
        at = *at == '.' ? SkipNumber(at + 1, stars) : at;
        for (; stars > 0; --stars) {
            if (!Takes(ArgumentKind::INT, given[next++])) {
                return false;
            }
        }
        const char* letter = SkipAll(at, "hlLzjt");
        const ArgumentKind wanted = ConversionKind(at, letter);
        if (wanted == ArgumentKind::OTHER || !Takes(wanted, given[next])) {
            return false;
        }
        ++next;
        at = letter;
    }
    return next == sizeof...(Args);
}

template <typename... Args>
void PrintRecord(int platformLevel, const LogSite& site, const char* prefixedFormat, Args... args) {
    PlumePrint(LOG_TYPE, platformLevel, LOG_DOMAIN, LOG_TAG, prefixedFormat, site.file, site.function, site.line,
               args...);
}

// What doesn't depend on the arguments' types stands apart, so that it is compiled once and not for every set of them.
[[gnu::noinline]] inline std::string PlainFormat(const char* format) {
    const auto logger = DelayedSingleton<QuickFixLogger>::GetInstance();
    return logger != nullptr ? logger->FormatLog(format) : std::string();
}

[[gnu::noinline]] inline void OutputMessage(const LogSite& site, const char* message) {
    const auto logger = DelayedSingleton<QuickFixLogger>::GetInstance();
    if (logger != nullptr) {
        logger->OutputLog(message, site.file, site.function, site.line);
    }
}

// Out of line, so that the buffer isn't part of the frame of a recursive caller.
template <typename... Args>
[[gnu::noinline]] void AppendToFileLog(const LogSite& site, const char* format, Args... args) {
    char message[FILE_MESSAGE_SIZE] = {};
    if (sprintf_s(message, sizeof(message), PlainFormat(format).c_str(), args...) > 0) {
        OutputMessage(site, message);
    }
}

template <typename... Args>
void WriteRecord(QuickFixPlumeLevel level, int platformLevel, const LogSite& site, const char* prefixedFormat,
                 Args... args) {
    if (QuickFixPlumeWrapper::JudgeLevel(level)) {
        PrintRecord(platformLevel, site, prefixedFormat, args...);
    }
    AppendToFileLog(site, prefixedFormat + sizeof(QF_LOG_PREFIX) - 1, args...);
}

template <typename Call>
inline constexpr SourceName<BaseNameLength(Call::File())> SOURCE_NAME(Call::File());

// A call's format comes twice: as a type, which the compiler checks, and in front of the arguments, where it isn't used.
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
    WriteRecord(level, platformLevel, {SOURCE_NAME<Call>.text, function, line}, Call::PrefixedFormat(), args...);
}

}  // namespace TEKLO::QuickFixEngine::LogDetail

#define QF_LOG_FORMAT(format, ...) format

// A value of a type of the call's own. The type is defined inside a lambda so that nothing is declared around the
// arguments, which may be lambdas that log. The format stays the first of the variable arguments, so that a call without
// arguments needs no compiler extension.
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
