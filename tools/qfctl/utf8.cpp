#include "utf8.h"

#include <algorithm>

size_t PrintableLength(const std::string& text, size_t at) {
    struct Row {
        unsigned char mask;
        unsigned char lead;
        size_t length;
        char32_t smallest;
    };
    constexpr Row rows[] = {{0xe0, 0xc0, 2, 0x80}, {0xf0, 0xe0, 3, 0x800}, {0xf8, 0xf0, 4, 0x10000}};
    const auto byte = [&text](size_t i) { return static_cast<unsigned char>(text[i]); };
    if (byte(at) < 0x80) {
        return byte(at) >= 0x20 && byte(at) != 0x7f ? 1 : 0;
    }
    for (const Row& row : rows) {
        if ((byte(at) & row.mask) != row.lead || text.size() - at < row.length) {
            continue;
        }
        char32_t code = byte(at) & static_cast<unsigned char>(~row.mask);
        for (size_t i = at + 1; i < at + row.length; ++i) {
            if ((byte(i) & 0xc0) != 0x80) {
                return 0;
            }
            code = (code << 6) | (byte(i) & 0x3fU);
        }
        const bool surrogate = code >= 0xd800 && code <= 0xdfff;
        const bool control = code < 0xa0;
        return code < row.smallest || code > 0x10ffff || surrogate || control ? 0 : row.length;
    }
    return 0;
}

bool IsPrintable(const std::string& text) {
    for (size_t at = 0; at < text.size();) {
        const size_t length = PrintableLength(text, at);
        if (length == 0) {
            return false;
        }
        at += length;
    }
    return true;
}

namespace {

bool BeginsCharacter(char byte) {
    return (byte & '\xc0') != '\x80';
}

}  // namespace

size_t CountCharacters(const std::string& text) {
    return static_cast<size_t>(std::count_if(text.begin(), text.end(), BeginsCharacter));
}

std::string FirstColumns(const std::string& text, size_t characters) {
    size_t end = 0;
    for (size_t count = 0; end < text.size(); ++end) {
        count += BeginsCharacter(text[end]) ? 1U : 0U;
        if (count > characters) {
            break;
        }
    }
    return text.substr(0, end);
}
