#include "text/json_text.h"

#include "text/utf8.h"

namespace qfctl {
namespace {

struct TextDeleter {
    void operator()(char* text) const { cJSON_free(text); }
};

}  // namespace

void AddText(const Json& object, const char* name, const std::string& text) {
    cJSON_AddStringToObject(object.get(), name, ReplaceInvalidUtf8(text).c_str());
}

std::string ToText(const Json& json) {
    const std::unique_ptr<char, TextDeleter> text(cJSON_PrintUnformatted(json.get()));
    return std::string(text.get()) + "\n";
}

}  // namespace qfctl
