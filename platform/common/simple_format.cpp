#include "simple_format.h"

#include <cstring>
#include <string_view>

namespace {

constexpr size_t MAX_WIDTH = 99;

class BoundedOutput {
public:
    /// Keeps one byte for the zero at the end.
    BoundedOutput(char* dest, size_t size) : begin_(dest), next_(dest), room_(size - 1) {}

    /// Returns false if the text doesn't fit.
    bool Append(std::string_view text) {
        if (text.size() > room_) {
            return false;
        }
        memcpy(next_, text.data(), text.size());
        Advance(text.size());
        return true;
    }
    /// Appends the text up to the next '%' or the end, and advances `text` to it. Returns false if it doesn't fit.
    bool AppendLiteral(const char*& text) {
        // Local copies: a store through a char pointer may change the members, so the compiler would reload them.
        char* const to = next_;
        const char* const from = text;
        const size_t room = room_;
        size_t length = 0;
        for (; from[length] != '%' && from[length] != '\0' && length < room; ++length) {
            to[length] = from[length];
        }
        Advance(length);
        text += length;
        return *text == '%' || *text == '\0';
    }
    int Finish() {
        *next_ = '\0';
        return static_cast<int>(next_ - begin_);
    }

private:
    void Advance(size_t count) {
        next_ += count;
        room_ -= count;
    }

    char* begin_;
    char* next_;
    size_t room_;
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

/// Writes from the last digit to the first.
template <unsigned int BASE>
bool AppendNumber(BoundedOutput& output, const Conversion& conversion, unsigned int magnitude, bool isNegative) {
    char text[MAX_WIDTH];
    size_t length = 0;
    const auto prepend = [&text, &length](char character) { text[MAX_WIDTH - ++length] = character; };
    do {
        prepend("0123456789abcdef"[magnitude % BASE]);
        magnitude /= BASE;
    } while (magnitude != 0);
    while (conversion.padsWithZeros && length + (isNegative ? 1 : 0) < conversion.width) {
        prepend('0');
    }
    if (isNegative) {
        prepend('-');
    }
    while (length < conversion.width) {
        prepend(' ');
    }
    return output.Append({text + MAX_WIDTH - length, length});
}

}  // namespace

int FormatSimple(char* dest, size_t destSize, const char* format, std::va_list arguments) {
    BoundedOutput output(dest, destSize);
    bool fits = true;
    while (fits) {
        fits = output.AppendLiteral(format);
        if (!fits || *format == '\0') {
            break;
        }
        ++format;
        const Conversion conversion = ParseConversion(format);
        if (conversion.width > MAX_WIDTH) {
            return NOT_SIMPLE;
        }
        switch (conversion.specifier) {
            case 'd': {
                const int value = va_arg(arguments, int);
                const auto magnitude = static_cast<unsigned int>(value);
                fits = AppendNumber<10>(output, conversion, value < 0 ? 0U - magnitude : magnitude, value < 0);
                break;
            }
            case 'u':
                fits = AppendNumber<10>(output, conversion, va_arg(arguments, unsigned int), false);
                break;
            case 'x':
                fits = AppendNumber<16>(output, conversion, va_arg(arguments, unsigned int), false);
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
