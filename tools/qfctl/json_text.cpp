#include "json_text.h"

#include "utf8.h"

namespace {

struct Free {
    void operator()(char* text) const { cJSON_free(text); }
};

std::string Utf8Only(const std::string& text) {
    std::string valid;
    for (size_t at = 0; at < text.size();) {
        const bool ascii = static_cast<unsigned char>(text[at]) < 0x80;
        const bool c1Control = text[at] == '\xc2' && at + 1 < text.size() && (text[at + 1] & '\xe0') == '\x80';
        const size_t length = ascii ? (text[at] == '\0' ? 0 : 1) : c1Control ? 2 : PrintableLength(text, at);
        valid += length > 0 ? text.substr(at, length) : "\xef\xbf\xbd";
        at += length > 0 ? length : 1;
    }
    return valid;
}

}  // namespace

void AddText(const Json& object, const char* name, const std::string& text) {
    cJSON_AddStringToObject(object.get(), name, Utf8Only(text).c_str());
}

std::string ToText(const Json& json) {
    const std::unique_ptr<char, Free> text(cJSON_PrintUnformatted(json.get()));
    return std::string(text.get()) + "\n";
}
