/// Typed access to JSON files.
#pragma once

#include <string>

struct cJSON;

namespace TEKLO::QuickFixEngine {

/// Reads typed members of a JSON object with a fallback, over cJSON: member names are found without regard to case, the
/// first match counts; a null `root` has no members. What is returned as a pointer belongs to the caller's tree.
/// A missing member, or one of another type, is no failure and writes no record.
///
/// A program that frees a tree includes <cjson/cJSON.h> and links cJSON itself, since the library doesn't pass it on:
/// `find_package(cJSON)` and the target `cjson` with CMake, or the package `libcjson` with pkg-config.
///
/// Threads: any, as long as nobody changes the same tree.
class [[gnu::visibility("default")]] JsonTool {
public:
    /// A new tree, which the caller frees with cJSON_Delete. Null when the file can't be read or is empty ("jsonString is
    /// empty." at error level, platform log and file log) and when it is no JSON (no record). Text behind the document
    /// is passed over; more than 1000 nested levels are refused.
    static cJSON* ParseJsonFromFile(const std::string& path);

    /// True when the object has the member and it is of that type; any number is an int.
    static bool IsInt(cJSON * root, std::string key);
    static bool IsString(cJSON * root, std::string key);
    static bool IsBoolean(cJSON * root, std::string key);
    static bool IsArray(cJSON * root, std::string key);
    static bool IsObject(cJSON * root, std::string key);

    /// The number without its fraction, held at the limits of int: 3.9 gives 3, 1e99 gives INT_MAX.
    static int GetInt(cJSON * root, std::string key, int defaultValue);
    static std::string GetString(cJSON * root, std::string key, std::string defaultValue);
    static bool GetBool(cJSON * root, std::string key, bool defaultValue);

    /// The member itself, null when it is absent or of another type.
    static cJSON* GetArray(cJSON * root, std::string key);
    static cJSON* GetObject(cJSON * root, std::string key);
};

}  // namespace TEKLO::QuickFixEngine
