#include "simple_format.h"

#include <charconv>
#include <cstring>
#include <limits>
#include <string_view>

namespace {

constexpr size_t MAX_WIDTH = 99;

class BoundedOutput {
public:
    BoundedOutput(char* dest, size_t size) : begin_(dest), next_(dest), available_(size) {}

    /// Returns false if the text and a zero byte don't fit.
    bool Append(std::string_view text) {
        if (text.size() >= available_) {
            return false;
        }
        memcpy(next_, text.data(), text.size());
        next_ += text.size();
        available_ -= text.size();
        return true;
    }
    bool Pad(char character, size_t count) {
        char padding[MAX_WIDTH];
        memset(padding, character, count);
        return Append({padding, count});
    }
    int Finish() {
        *next_ = '\0';
        return static_cast<int>(next_ - begin_);
    }

private:
    char* begin_;
    char* next_;
    size_t available_;
};

struct Conversion {
    bool padsWithZeros = false;
    size_t width = 0;
    char specifier = '\0';
};

/// Parses the conversion after a '%' and advances `text` past it.
Conversion ParseConversion(const char*& text) {
    const auto isDigit = [](char character) { return character >= '0' && character <= '9'; };
    Conversion conversion;
    conversion.padsWithZeros = *text == '0';
    for (; isDigit(*text) && conversion.width <= MAX_WIDTH; ++text) {
        conversion.width = 10 * conversion.width + static_cast<size_t>(*text - '0');
    }
    conversion.specifier = *text;
    text += *text != '\0' ? 1 : 0;
    return conversion;
}

template <typename Integer>
bool AppendNumber(BoundedOutput& output, const Conversion& conversion, Integer value, int base) {
    char digits[std::numeric_limits<unsigned int>::digits10 + 2];
    const char* end = std::to_chars(digits, digits + sizeof(digits), value, base).ptr;
    const std::string_view text(digits, static_cast<size_t>(end - digits));
    const size_t padding = conversion.width > text.size() ? conversion.width - text.size() : 0;
    if (padding == 0) {
        return output.Append(text);
    }
    if (!conversion.padsWithZeros) {
        return output.Pad(' ', padding) && output.Append(text);
    }
    const size_t sign = text[0] == '-' ? 1 : 0;
    return output.Append(text.substr(0, sign)) && output.Pad('0', padding) && output.Append(text.substr(sign));
}

}  // namespace

int FormatSimple(char* dest, size_t destSize, const char* format, std::va_list arguments) {
    BoundedOutput output(dest, destSize);
    bool fits = true;
    while (fits) {
        const char* percent = strchrnul(format, '%');
        fits = output.Append({format, static_cast<size_t>(percent - format)});
        if (!fits || *percent == '\0') {
            break;
        }
        format = percent + 1;
        const Conversion conversion = ParseConversion(format);
        if (conversion.width > MAX_WIDTH) {
            return NOT_SIMPLE;
        }
        switch (conversion.specifier) {
            case 'd':
                fits = AppendNumber(output, conversion, va_arg(arguments, int), 10);
                break;
            case 'u':
                fits = AppendNumber(output, conversion, va_arg(arguments, unsigned int), 10);
                break;
            case 'x':
                fits = AppendNumber(output, conversion, va_arg(arguments, unsigned int), 16);
                break;
            case 's': {
                const char* text = va_arg(arguments, const char*);
                if (conversion.width > 0 || conversion.padsWithZeros || text == nullptr) {
                    return NOT_SIMPLE;
                }
                fits = output.Append(text);
                break;
            }
            default:
                return NOT_SIMPLE;
        }
    }
    return fits ? output.Finish() : DOES_NOT_FIT;
}
