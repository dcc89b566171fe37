#include "plume_format.h"

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string_view>
#include <vector>

#include "scoped_c_locale.h"

namespace TEKLO::Platform {

namespace {

constexpr std::string_view PUBLIC_MARKER = "{public}";
constexpr std::string_view PRIVATE_MARKER = "{private}";

/// One conversion of a format. "%{public}-5ld" has the directive "%-5ld" for printf, length "l" and specifier 'd'.
struct Conversion {
    std::string directive = "%";
    std::string length;
    char specifier = '\0';
    bool isPublic = false;
};

// A va_list parameter can't be passed by reference portably, because the type may be an array. A structure can.
struct Arguments {
    std::va_list list;
};

bool ConsumePrefix(std::string_view& text, std::string_view prefix) {
    if (text.substr(0, prefix.size()) != prefix) {
        return false;
    }
    text.remove_prefix(prefix.size());
    return true;
}

std::string_view ConsumeWhile(std::string_view& text, const char* set) {
    const std::string_view prefix = text.substr(0, text.find_first_not_of(set));
    text.remove_prefix(prefix.size());
    return prefix;
}

/// Appends the value of a star. Omits a negative precision, as printf does.
void AppendNumber(std::string& directive, int number) {
    if (directive.back() == '.' && number < 0) {
        directive.pop_back();
    } else {
        directive += std::to_string(number);
    }
}

/// Removes one conversion from the text, which starts after the percent sign.
Conversion ConsumeConversion(std::string_view& text, Arguments& arguments) {
    Conversion conversion;
    conversion.isPublic = ConsumePrefix(text, PUBLIC_MARKER);
    if (!conversion.isPublic) {
        ConsumePrefix(text, PRIVATE_MARKER);
    }
    for (const char character : ConsumeWhile(text, "-+ #0123456789.*")) {
        if (character == '*') {
            AppendNumber(conversion.directive, va_arg(arguments.list, int));
        } else {
            conversion.directive += character;
        }
    }
    conversion.length = ConsumeWhile(text, "hlLzjt");
    if (!text.empty()) {
        conversion.specifier = text.front();
        text.remove_prefix(1);
    }
    conversion.directive += conversion.length + conversion.specifier;
    return conversion;
}

template <typename T>
void AppendArgument(std::string& formatted, const Conversion& conversion, T argument) {
    if (!conversion.isPublic) {
        formatted += "<private>";
        return;
    }
    const int length = snprintf(nullptr, 0, conversion.directive.c_str(), argument);
    if (length <= 0) {
        return;
    }
    std::vector<char> text(static_cast<size_t>(length) + 1);
    snprintf(text.data(), text.size(), conversion.directive.c_str(), argument);
    formatted.append(text.data(), static_cast<size_t>(length));
}

void AppendInteger(std::string& formatted, const Conversion& conversion, Arguments& arguments) {
    if (conversion.length == "l") {
        AppendArgument(formatted, conversion, va_arg(arguments.list, long));
    } else if (conversion.length == "ll") {
        AppendArgument(formatted, conversion, va_arg(arguments.list, long long));
    } else if (conversion.length == "z") {
        AppendArgument(formatted, conversion, va_arg(arguments.list, size_t));
    } else if (conversion.length == "j") {
        AppendArgument(formatted, conversion, va_arg(arguments.list, intmax_t));
    } else if (conversion.length == "t") {
        AppendArgument(formatted, conversion, va_arg(arguments.list, ptrdiff_t));
    } else {
        AppendArgument(formatted, conversion, va_arg(arguments.list, int));
    }
}

/// Appends the formatted argument of a conversion. Returns false for an unknown conversion.
bool AppendConversion(std::string& formatted, const Conversion& conversion, Arguments& arguments) {
    switch (conversion.specifier) {
        case 'd':
        case 'i':
        case 'o':
        case 'u':
        case 'x':
        case 'X':
        case 'c':
            AppendInteger(formatted, conversion, arguments);
            return true;
        case 'a':
        case 'A':
        case 'e':
        case 'E':
        case 'f':
        case 'F':
        case 'g':
        case 'G':
            if (conversion.length == "L") {
                AppendArgument(formatted, conversion, va_arg(arguments.list, long double));
            } else {
                AppendArgument(formatted, conversion, va_arg(arguments.list, double));
            }
            return true;
        case 's': {
            const char* text = va_arg(arguments.list, const char*);
            AppendArgument(formatted, conversion, text != nullptr ? text : "(null)");
            return true;
        }
        case 'p':
            AppendArgument(formatted, conversion, va_arg(arguments.list, const void*));
            return true;
        default:
            return false;
    }
}

/// Returns whether one of U+0080 to U+009F starts at this byte. Terminals interpret these as control characters.
bool IsC1Control(const std::string& text, size_t at) {
    return text[at] == '\xc2' && at + 1 < text.size() && (text[at + 1] & '\xe0') == '\x80';
}

}  // namespace

std::string RenderPlumeText(const char* format, std::va_list list) {
    const ScopedCLocale cLocale;
    Arguments arguments = {};
    va_copy(arguments.list, list);
    std::string formatted;
    std::string_view text(format);
    bool isKnown = true;
    while (isKnown && !text.empty()) {
        const size_t percent = text.find('%');
        formatted += text.substr(0, percent);
        text.remove_prefix(percent == std::string_view::npos ? text.size() : percent + 1);
        if (percent == std::string_view::npos || ConsumePrefix(text, "%")) {
            formatted += percent == std::string_view::npos ? "" : "%";
            continue;
        }
        isKnown = AppendConversion(formatted, ConsumeConversion(text, arguments), arguments);
    }
    va_end(arguments.list);
    return formatted;
}

std::string EscapeControls(const std::string& text) {
    constexpr char HEX_DIGITS[] = "0123456789abcdef";
    std::string escaped;
    escaped.reserve(text.size());
    for (size_t i = 0; i < text.size(); ++i) {
        const char character = text[i];
        const auto byte = static_cast<unsigned char>(character);
        if (character == '\n') {
            escaped += "\\n";
        } else if ((byte < 0x20 && character != '\t') || byte == 0x7f || IsC1Control(text, i) ||
                   (i > 0 && IsC1Control(text, i - 1))) {
            escaped.append("\\x").append(1, HEX_DIGITS[byte >> 4]).append(1, HEX_DIGITS[byte & 0xf]);
        } else {
            escaped += character;
        }
    }
    return escaped;
}

}  // namespace TEKLO::Platform
