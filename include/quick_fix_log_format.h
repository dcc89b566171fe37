/// Checks a log format against the types of its arguments at compile time. Part of quick_fix_log.h; do not include it
/// directly.
#pragma once

#include <cstddef>
#include <cstdint>
#include <type_traits>

namespace TEKLO::QuickFixEngine::LogDetail {

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

/// Returns the position after `prefix` if the text starts with it, otherwise `text`.
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

/// Returns the position after a width or precision, which consists of digits or a star. Increments `stars` for a star.
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

constexpr ArgumentKind IntegerKind(const char* modifier, const char* specifier) {
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
        if (Equals(modifier, specifier, row.modifier)) {
            return row.kind;
        }
    }
    return ArgumentKind::OTHER;
}

/// Returns the kind of argument that a conversion takes, `OTHER` for an unknown conversion.
constexpr ArgumentKind ConversionKind(const char* modifier, const char* specifier) {
    if (IsOneOf(*specifier, "diouxX")) {
        return IntegerKind(modifier, specifier);
    }
    if (IsOneOf(*specifier, "aAeEfFgG")) {
        const bool isDouble = Equals(modifier, specifier, "") || Equals(modifier, specifier, "l");
        return isDouble                           ? ArgumentKind::DOUBLE
               : Equals(modifier, specifier, "L") ? ArgumentKind::LONG_DOUBLE
                                                  : ArgumentKind::OTHER;
    }
    if (!Equals(modifier, specifier, "")) {
        return ArgumentKind::OTHER;
    }
    switch (*specifier) {
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

constexpr bool Accepts(ArgumentKind wanted, ArgumentKind given) {
    const bool text = wanted == ArgumentKind::POINTER && given == ArgumentKind::STRING;
    return given != ArgumentKind::OTHER && (wanted == given || text);
}

/// Returns whether `format` takes exactly these arguments. Rejects the marker `{private}` unless `allowPrivate` is
/// set.
template <typename... Args>
constexpr bool FormatFits(const char* format, bool allowPrivate) {
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
        at = allowPrivate ? SkipPrefix(at, "{private}") : at;
        at = SkipNumber(SkipAll(at, "-+ #0"), stars);
        at = *at == '.' ? SkipNumber(at + 1, stars) : at;
        for (; stars > 0; --stars) {
            if (!Accepts(ArgumentKind::INT, given[next++])) {
                return false;
            }
        }
        const char* specifier = SkipAll(at, "hlLzjt");
        const ArgumentKind wanted = ConversionKind(at, specifier);
        if (wanted == ArgumentKind::OTHER || !Accepts(wanted, given[next])) {
            return false;
        }
        ++next;
        at = specifier;
    }
    return next == sizeof...(Args);
}

}  // namespace TEKLO::QuickFixEngine::LogDetail
