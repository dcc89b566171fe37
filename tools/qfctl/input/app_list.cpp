#include "input/app_list.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <set>

#include "failure.h"
#include "file_utils.h"
#include "json_tool.h"
#include "text/escape.h"
#include "text/json_text.h"

namespace qfctl {
namespace {

using TEKLO::QuickFixEngine::FileUtils;
using TEKLO::QuickFixEngine::JsonTool;

constexpr char NAME_CHARACTERS[] = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_-.";

std::string ReadRegularFile(const std::string& path) {
    struct stat status = {};
    if (stat(path.c_str(), &status) != 0 || access(path.c_str(), R_OK) != 0) {
        throw Failure(ExitCode::NOT_CHECKED, Quote(path) + " can't be read: " + strerror(errno));
    }
    if (!S_ISREG(status.st_mode)) {
        throw Failure(ExitCode::NOT_CHECKED, Quote(path) + " can't be read: it is not a regular file");
    }
    return FileUtils::GetFileStream(path);
}

/// Parses a JSON document. Throws Failure if it is invalid, contains a zero byte, or is followed by other text.
Json ParseStrictJson(const std::string& text) {
    // A zero byte would end a name and hide forbidden characters after it.
    const bool holdsZero = text.find('\0') != std::string::npos || text.find("\\u0000") != std::string::npos;
    Json root(holdsZero ? nullptr : cJSON_ParseWithOpts(text.c_str(), nullptr, 1));
    if (root == nullptr) {
        throw Failure(ExitCode::USAGE, "it is not valid JSON");
    }
    return root;
}

/// Throws Failure unless the object has the member exactly once. cJSON 1.7 ignores case in names and returns the first
/// of several equal members.
void RequireUniqueMember(const cJSON* entry, const std::string& member) {
    int found = 0;
    const cJSON* child = nullptr;
    cJSON_ArrayForEach(child, entry) {
        found += strcasecmp(child->string, member.c_str()) == 0 ? 1 : 0;
    }
    if (found != 1 || cJSON_GetObjectItemCaseSensitive(entry, member.c_str()) == nullptr) {
        throw Failure(ExitCode::USAGE, member + " is missing, misspelt or given twice");
    }
}

App ReadApp(cJSON* entry) {
    if (!cJSON_IsObject(entry)) {
        throw Failure(ExitCode::USAGE, "it is not an object");
    }
    RequireUniqueMember(entry, "bundleName");
    RequireUniqueMember(entry, "versionCode");
    if (!JsonTool::IsString(entry, "bundleName")) {
        throw Failure(ExitCode::USAGE, "bundleName is not a string");
    }
    if (!JsonTool::IsInt(entry, "versionCode")) {
        throw Failure(ExitCode::USAGE, "versionCode is not a number");
    }
    const std::string name = JsonTool::GetString(entry, "bundleName", "");
    // bm would treat a name with a leading '-' as an option.
    if (name.empty() || name[0] == '-' || name.find_first_not_of(NAME_CHARACTERS) != std::string::npos) {
        throw Failure(ExitCode::USAGE, "bundleName " + Quote(name) +
                                           " is invalid: use letters, digits, '_', '-' and '.', and no leading '-'");
    }
    const int code = JsonTool::GetInt(entry, "versionCode", -1);
    if (code < 0 || cJSON_GetObjectItem(entry, "versionCode")->valuedouble != static_cast<double>(code)) {
        throw Failure(ExitCode::USAGE, "versionCode of " + Quote(name) + " is not an integer from 0 to 2147483647");
    }
    return {name, static_cast<unsigned int>(code)};
}

std::vector<App> ParseApps(const std::string& text) {
    const Json root = ParseStrictJson(text);
    if (cJSON_IsObject(root.get())) {
        RequireUniqueMember(root.get(), "apps");
    }
    const cJSON* list = JsonTool::GetArray(root.get(), "apps");
    if (list == nullptr) {
        throw Failure(ExitCode::USAGE, "it has no array \"apps\"");
    }
    std::vector<App> apps;
    std::set<std::string> names;
    cJSON* entry = nullptr;
    cJSON_ArrayForEach(entry, list) {
        WithContext("entry " + std::to_string(apps.size() + 1) + ": ", [&] {
            apps.push_back(ReadApp(entry));
            if (!names.insert(apps.back().bundleName).second) {
                throw Failure(ExitCode::USAGE, "the bundle " + Quote(apps.back().bundleName) + " is named twice");
            }
        });
    }
    return apps;
}

}  // namespace

std::vector<App> ReadApps(const std::string& path) {
    const std::string text = ReadRegularFile(path);
    return WithContext("the list of apps " + Quote(path) + " is refused: ", [&text] { return ParseApps(text); });
}

}  // namespace qfctl
