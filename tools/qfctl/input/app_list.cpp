#include "input/app_list.h"

#include <cstring>
#include <set>
#include <stdexcept>

#include "file_utils.h"
#include "json_tool.h"
#include "text/escape.h"
#include "text/json_text.h"

namespace qfctl {
namespace {

using TEKLO::QuickFixEngine::FileUtils;
using TEKLO::QuickFixEngine::JsonTool;

constexpr char NAME_CHARACTERS[] = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_-.";

/// JsonTool takes a document with anything behind it.
bool IsNothingButJson(const std::string& path) {
    const std::string text = FileUtils::GetFileStream(path);
    // A zero byte would end a name before its forbidden characters.
    const bool holdsZero = strlen(text.c_str()) != text.size() || text.find("\\u0000") != std::string::npos;
    return !holdsZero && Json(cJSON_ParseWithOpts(text.c_str(), nullptr, 1)) != nullptr;
}

/// The look-up ignores case and takes the first of several: what a reader of the file sees must be what is taken.
void RequireOnce(const cJSON* entry, const std::string& member) {
    int found = 0;
    const cJSON* child = nullptr;
    cJSON_ArrayForEach(child, entry) {
        found += strcasecmp(child->string, member.c_str()) == 0 ? 1 : 0;
    }
    if (found != 1 || cJSON_GetObjectItemCaseSensitive(entry, member.c_str()) == nullptr) {
        throw std::invalid_argument(member + " is missing, misspelt or given twice");
    }
}

App ReadApp(cJSON* entry) {
    if (!cJSON_IsObject(entry)) {
        throw std::invalid_argument("it is no object");
    }
    RequireOnce(entry, "bundleName");
    RequireOnce(entry, "versionCode");
    if (!JsonTool::IsString(entry, "bundleName")) {
        throw std::invalid_argument("bundleName is no text");
    }
    if (!JsonTool::IsInt(entry, "versionCode")) {
        throw std::invalid_argument("versionCode is no number");
    }
    const std::string name = JsonTool::GetString(entry, "bundleName", "");
    // A name in front of which a command would see an option is none either.
    if (name.empty() || name[0] == '-' || name.find_first_not_of(NAME_CHARACTERS) != std::string::npos) {
        throw std::invalid_argument("bundleName " + Quote(name) + " is no name of letters, digits, '_', '-' and '.'");
    }
    const int code = JsonTool::GetInt(entry, "versionCode", -1);
    if (code < 0 || cJSON_GetObjectItem(entry, "versionCode")->valuedouble != static_cast<double>(code)) {
        throw std::invalid_argument("versionCode of " + Quote(name) + " is no whole number from 0 to 2147483647");
    }
    return {name, static_cast<unsigned int>(code)};
}

}  // namespace

std::vector<App> ReadApps(const std::string& path) {
    if (!IsNothingButJson(path)) {
        throw std::invalid_argument("it is no JSON");
    }
    const Json root(JsonTool::ParseJsonFromFile(path));
    if (cJSON_IsObject(root.get())) {
        RequireOnce(root.get(), "apps");
    }
    const cJSON* list = JsonTool::GetArray(root.get(), "apps");
    if (list == nullptr) {
        throw std::invalid_argument("it has no list \"apps\"");
    }
    std::vector<App> apps;
    std::set<std::string> names;
    int number = 0;
    cJSON* entry = nullptr;
    cJSON_ArrayForEach(entry, list) {
        ++number;
        try {
            apps.push_back(ReadApp(entry));
            if (!names.insert(apps.back().bundleName).second) {
                throw std::invalid_argument("the bundle " + Quote(apps.back().bundleName) + " is named twice");
            }
        } catch (const std::invalid_argument& error) {
            throw std::invalid_argument("entry " + std::to_string(number) + ": " + error.what());
        }
    }
    return apps;
}

}  // namespace qfctl
