#include "text/json_text.h"

#include "text/utf8.h"

namespace qfctl {
namespace {

struct Free {
    void operator()(char* text) const { cJSON_free(text); }
};

std::string Utf8Only(const std::string& text) {
    std::string valid;
    for (size_t at = 0; at < text.size();) {
        char32_t code = 0;
        const size_t length = DecodeUtf8(text, at, code);
        valid += length > 0 && code != 0 ? text.substr(at, length) : "\xef\xbf\xbd";
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

}  // namespace qfctl
