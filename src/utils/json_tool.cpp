#include "json_tool.h"

#include <cjson/cJSON.h>

#include <utility>

#include "file_utils.h"
#include "quick_fix_log.h"
#include "scoped_c_locale.h"

namespace TEKLO::QuickFixEngine {
namespace {

/// Returns the member if it has the type, otherwise null.
cJSON* FindMember(cJSON* root, const std::string& key, cJSON_bool (*isOfType)(const cJSON*)) {
    const ScopedCLocale cLocale;
    cJSON* member = cJSON_GetObjectItem(root, key.c_str());
    return isOfType(member) != 0 ? member : nullptr;
}

}  // namespace

cJSON* JsonTool::ParseJsonFromFile(const std::string& path) {
    const std::string jsonString = FileUtils::GetFileStream(path);
    if (jsonString.empty()) {
        QF_FILE_LOGE("jsonString is empty.");
        return nullptr;
    }
    const ScopedCLocale cLocale;
    return cJSON_Parse(jsonString.c_str());
}

bool JsonTool::IsInt(cJSON* root, std::string key) {
    return FindMember(root, key, cJSON_IsNumber) != nullptr;
}

bool JsonTool::IsString(cJSON* root, std::string key) {
    return FindMember(root, key, cJSON_IsString) != nullptr;
}

bool JsonTool::IsBoolean(cJSON* root, std::string key) {
    return FindMember(root, key, cJSON_IsBool) != nullptr;
}

bool JsonTool::IsArray(cJSON* root, std::string key) {
    return GetArray(root, std::move(key)) != nullptr;
}

bool JsonTool::IsObject(cJSON* root, std::string key) {
    return GetObject(root, std::move(key)) != nullptr;
}

int JsonTool::GetInt(cJSON* root, std::string key, int defaultValue) {
    const cJSON* member = FindMember(root, key, cJSON_IsNumber);
    return member != nullptr ? member->valueint : defaultValue;
}

std::string JsonTool::GetString(cJSON* root, std::string key, std::string defaultValue) {
    const cJSON* member = FindMember(root, key, cJSON_IsString);
    return member != nullptr ? member->valuestring : std::move(defaultValue);
}

bool JsonTool::GetBool(cJSON* root, std::string key, bool defaultValue) {
    const cJSON* member = FindMember(root, key, cJSON_IsBool);
    return member != nullptr ? cJSON_IsTrue(member) != 0 : defaultValue;
}

cJSON* JsonTool::GetArray(cJSON* root, std::string key) {
    return FindMember(root, key, cJSON_IsArray);
}

cJSON* JsonTool::GetObject(cJSON* root, std::string key) {
    return FindMember(root, key, cJSON_IsObject);
}

}  // namespace TEKLO::QuickFixEngine
