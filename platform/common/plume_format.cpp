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

/// One conversion of a format, made ready for printf: "%{public}-5ld" is "%-5ld", shown, length "l", letter 'd'.
struct Conversion {
    std::string directive = "%";
    std::string length;
    char letter = '\0';
    bool shown = false;
};

// A copy of a va_list parameter can't be handed on by reference portably; a member of a structure can.
struct Arguments {
    std::va_list list;
};

bool TakePrefix(std::string_view& text, std::string_view prefix) {
    if (text.substr(0, prefix.size()) != prefix) {
        return false;
    }
    text.remove_prefix(prefix.size());
    return true;
}

std::string_view TakeAll(std::string_view& text, const char* set) {
    const std::string_view taken = text.substr(0, text.find_first_not_of(set));
    text.remove_prefix(taken.size());
    return taken;
}

/// Puts a width or a precision in place of its star; a negative precision counts as none.
void AppendNumber(std::string& directive, int number) {
    if (directive.back() == '.' && number < 0) {
        directive.pop_back();
    } else {
        directive += std::to_string(number);
    }
}

/// Takes one conversion off the text, which begins behind its percent sign.
Conversion TakeConversion(std::string_view& text, Arguments& arguments) {
    Conversion conversion;
    conversion.shown = TakePrefix(text, PUBLIC_MARKER);
    if (!conversion.shown) {
        TakePrefix(text, PRIVATE_MARKER);
    }
    for (const char character : TakeAll(text, "-+ #0123456789.*")) {
        if (character == '*') {
            AppendNumber(conversion.directive, va_arg(arguments.list, int));
        } else {
            conversion.directive += character;
        }
    }
    conversion.length = TakeAll(text, "hlLzjt");
    if (!text.empty()) {
        conversion.letter = text.front();
        text.remove_prefix(1);
    }
    conversion.directive += conversion.length + conversion.letter;
    return conversion;
}

template <typename T>
void Show(std::string& rendered, const Conversion& conversion, T argument) {
    if (!conversion.shown) {
        rendered += "<private>";
        return;
    }
    const int length = snprintf(nullptr, 0, conversion.directive.c_str(), argument);
    if (length <= 0) {
        return;
    }
    std::vector<char> text(static_cast<size_t>(length) + 1);
    snprintf(text.data(), text.size(), conversion.directive.c_str(), argument);
    rendered.append(text.data(), static_cast<size_t>(length));
}

void ShowInteger(std::string& rendered, const Conversion& conversion, Arguments& arguments) {
    if (conversion.length == "l") {
        Show(rendered, conversion, va_arg(arguments.list, long));
    } else if (conversion.length == "ll") {
        Show(rendered, conversion, va_arg(arguments.list, long long));
    } else if (conversion.length == "z") {
        Show(rendered, conversion, va_arg(arguments.list, size_t));
    } else if (conversion.length == "j") {
        Show(rendered, conversion, va_arg(arguments.list, intmax_t));
    } else if (conversion.length == "t") {
        Show(rendered, conversion, va_arg(arguments.list, ptrdiff_t));
    } else {
        Show(rendered, conversion, va_arg(arguments.list, int));
    }
}

/// Shows the conversion's argument; false when it isn't known what it takes.
bool ShowArgument(std::string& rendered, const Conversion& conversion, Arguments& arguments) {
    switch (conversion.letter) {
        case 'd':
        case 'i':
        case 'o':
        case 'u':
        case 'x':
        case 'X':
        case 'c':
            ShowInteger(rendered, conversion, arguments);
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
                Show(rendered, conversion, va_arg(arguments.list, long double));
            } else {
                Show(rendered, conversion, va_arg(arguments.list, double));
            }
            return true;
        case 's': {
            const char* text = va_arg(arguments.list, const char*);
            Show(rendered, conversion, text != nullptr ? text : "(null)");
            return true;
        }
        case 'p':
            Show(rendered, conversion, va_arg(arguments.list, const void*));
            return true;
        default:
            return false;
    }
}

/// True for the first byte of U+0080 to U+009F in UTF-8, which terminals take for commands too.
bool IsC1Control(const std::string& text, size_t at) {
    return text[at] == '\xc2' && at + 1 < text.size() && (text[at + 1] & '\xe0') == '\x80';
}

}  // namespace

std::string RenderPlumeText(const char* format, std::va_list list) {
    const ScopedCLocale cLocale;
    Arguments arguments = {};
    va_copy(arguments.list, list);
    std::string rendered;
    std::string_view text(format);
    bool known = true;
    while (known && !text.empty()) {
        const size_t percent = text.find('%');
        rendered += text.substr(0, percent);
        text.remove_prefix(percent == std::string_view::npos ? text.size() : percent + 1);
        if (percent == std::string_view::npos || TakePrefix(text, "%")) {
            rendered += percent == std::string_view::npos ? "" : "%";
            continue;
        }
        known = ShowArgument(rendered, TakeConversion(text, arguments), arguments);
    }
    va_end(arguments.list);
    return rendered;
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
        } else if ((byte < 0x20 && character != '\t') || byte == 0x7f || IsC1Control(text, i)) {
            escaped.append("\\x").append(1, HEX_DIGITS[byte >> 4]).append(1, HEX_DIGITS[byte & 0xf]);
        } else {
            escaped += character;
        }
    }
    return escaped;
}

}  // namespace TEKLO::Platform
