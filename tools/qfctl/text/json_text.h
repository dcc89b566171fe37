#pragma once

#include <cjson/cJSON.h>

#include <memory>
#include <string>

namespace qfctl {

struct JsonDeleter {
    void operator()(cJSON* json) const { cJSON_Delete(json); }
};
using Json = std::unique_ptr<cJSON, JsonDeleter>;

/// Adds a string member. Zero bytes and bytes that are not valid UTF-8 become U+FFFD.
void AddText(const Json& object, const char* name, const std::string& text);

/// Returns the document on one line.
std::string ToText(const Json& json);

}  // namespace qfctl
