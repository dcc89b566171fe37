#include "text/utf8.h"

#include <algorithm>
#include <iterator>

namespace qfctl {
namespace {

struct CodeRange {
    char32_t first;
    char32_t last;
};

// Unicode 15: the categories Cf, Zl and Zp, and what else is ignorable by default, such as variation selectors.
constexpr CodeRange FORMAT_CHARACTERS[] = {
    {0xad, 0xad},       {0x34f, 0x34f},     {0x600, 0x605},     {0x61c, 0x61c},     {0x6dd, 0x6dd},
    {0x70f, 0x70f},     {0x890, 0x891},     {0x8e2, 0x8e2},     {0x115f, 0x1160},   {0x17b4, 0x17b5},
    {0x180b, 0x180f},   {0x200b, 0x200f},   {0x2028, 0x202e},   {0x2060, 0x206f},   {0x3164, 0x3164},
    {0xfe00, 0xfe0f},   {0xfeff, 0xfeff},   {0xffa0, 0xffa0},   {0xfff0, 0xfffb},   {0x110bd, 0x110bd},
    {0x110cd, 0x110cd}, {0x13430, 0x1343f}, {0x1bca0, 0x1bca3}, {0x1d173, 0x1d17a}, {0xe0000, 0xe0fff},
};

bool IsControl(char32_t code) {
    return code < 0x20 || (code >= 0x7f && code < 0xa0);
}

bool IsFormat(char32_t code) {
    return std::any_of(std::begin(FORMAT_CHARACTERS), std::end(FORMAT_CHARACTERS),
                       [code](const CodeRange& range) { return code >= range.first && code <= range.last; });
}

template <typename Predicate>
bool IsUtf8Without(const std::string& text, Predicate isRefused) {
    size_t length = 0;
    for (size_t at = 0; at < text.size(); at += length) {
        char32_t code = 0;
        length = DecodeUtf8(text, at, code);
        if (length == 0 || isRefused(code)) {
            return false;
        }
    }
    return true;
}

bool BeginsCharacter(char byte) {
    return (byte & '\xc0') != '\x80';
}

}  // namespace

size_t DecodeUtf8(const std::string& text, size_t at, char32_t& code) {
    struct Row {
        unsigned char mask;
        unsigned char lead;
        size_t length;
        char32_t smallest;
    };
    constexpr Row rows[] = {
        {0x80, 0x00, 1, 0}, {0xe0, 0xc0, 2, 0x80}, {0xf0, 0xe0, 3, 0x800}, {0xf8, 0xf0, 4, 0x10000}};
    const auto byte = [&text](size_t i) { return static_cast<unsigned char>(text[i]); };
    for (const Row& row : rows) {
        if ((byte(at) & row.mask) != row.lead || text.size() - at < row.length) {
            continue;
        }
        code = byte(at) & static_cast<unsigned char>(~row.mask);
        for (size_t i = at + 1; i < at + row.length; ++i) {
            if ((byte(i) & 0xc0) != 0x80) {
                return 0;
            }
            code = (code << 6) | (byte(i) & 0x3fU);
        }
        const bool surrogate = code >= 0xd800 && code <= 0xdfff;
        return code < row.smallest || code > 0x10ffff || surrogate ? 0 : row.length;
    }
    return 0;
}

bool IsPlainText(const std::string& text) {
    return IsUtf8Without(text, IsControl);
}

bool IsPrintable(const std::string& text) {
    return IsUtf8Without(text, [](char32_t code) { return IsControl(code) || IsFormat(code); });
}

size_t CountCharacters(const std::string& text) {
    return static_cast<size_t>(std::count_if(text.begin(), text.end(), BeginsCharacter));
}

std::string TruncateToWidth(const std::string& text, size_t characters) {
    size_t end = 0;
    for (size_t count = 0; end < text.size(); ++end) {
        count += BeginsCharacter(text[end]) ? 1U : 0U;
        if (count > characters) {
            break;
        }
    }
    return text.substr(0, end);
}

}  // namespace qfctl
