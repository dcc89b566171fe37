#include "text/utf8.h"

#include <unictype.h>
#include <unistr.h>
#include <uniwidth.h>

#include <algorithm>

namespace qfctl {
namespace {

constexpr char ENCODING[] = "UTF-8";

const uint8_t* Bytes(const std::string& text) {
    return reinterpret_cast<const uint8_t*>(text.data());
}

/// Returns the length of the valid sequence at `at` and stores its character. Returns 0 if the sequence is invalid.
size_t Decode(const std::string& text, size_t at, ucs4_t& character) {
    const int length = u8_mbtoucr(&character, Bytes(text) + at, text.size() - at);
    return static_cast<size_t>(std::max(length, 0));
}

bool IsControl(ucs4_t character) {
    return uc_is_general_category_withtable(character, UC_CATEGORY_MASK_Cc);
}

bool IsFormat(ucs4_t character) {
    constexpr uint32_t FORMAT = UC_CATEGORY_MASK_Cf | UC_CATEGORY_MASK_Zl | UC_CATEGORY_MASK_Zp;
    return uc_is_general_category_withtable(character, FORMAT) ||
           uc_is_property_default_ignorable_code_point(character);
}

template <typename Predicate>
bool IsUtf8Without(const std::string& text, Predicate isRefused) {
    size_t length = 0;
    for (size_t at = 0; at < text.size(); at += length) {
        ucs4_t character = 0;
        length = Decode(text, at, character);
        if (length == 0 || isRefused(character)) {
            return false;
        }
    }
    return true;
}

}  // namespace

std::string ReplaceInvalidUtf8(const std::string& text) {
    std::string valid;
    for (size_t at = 0; at < text.size();) {
        ucs4_t character = 0;
        const size_t length = Decode(text, at, character);
        valid += length > 0 && character != 0 ? text.substr(at, length) : "\xef\xbf\xbd";
        at += std::max<size_t>(length, 1);
    }
    return valid;
}

size_t GetWidth(const std::string& text) {
    return static_cast<size_t>(u8_width(Bytes(text), text.size(), ENCODING));
}

std::string TruncateToWidth(const std::string& text, size_t columns) {
    size_t end = 0;
    int width = 0;
    while (end < text.size()) {
        ucs4_t character = 0;
        const size_t length = Decode(text, end, character);
        width += std::max(uc_width(character, ENCODING), 0);
        if (length == 0 || static_cast<size_t>(width) > columns) {
            break;
        }
        end += length;
    }
    return text.substr(0, end);
}

bool IsValidUtf8(const std::string& text) {
    return IsUtf8Without(text, [](ucs4_t) { return false; });
}

bool IsPlainText(const std::string& text) {
    return IsUtf8Without(text, IsControl);
}

bool IsPrintable(const std::string& text) {
    return IsUtf8Without(text, [](ucs4_t character) { return IsControl(character) || IsFormat(character); });
}

}  // namespace qfctl
