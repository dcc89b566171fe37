/// Typed access to JSON files.
#pragma once

#include <string>

struct cJSON;

namespace TEKLO::QuickFixEngine {

/// Reads typed members of a JSON object that cJSON has parsed. Member names are compared without regard to ASCII case;
/// the first match counts. A `root` that is null or not an object has no members. A missing member or one of another
/// type is not an error and is not logged.
///
/// The library does not export cJSON. To free a tree, a program includes <cjson/cJSON.h> and links cJSON itself: with
/// CMake `find_package(cJSON)` and the target `cjson`, with pkg-config the package `libcjson`.
///
/// Threads: any thread may read a tree, as long as no thread changes it.
class [[gnu::visibility("default")]] JsonTool {
public:
    /// Returns a new tree, which the caller frees with cJSON_Delete. Ignores text after the document.
    ///
    /// If the file is empty or can't be read, returns null and logs "jsonString is empty." at error level to the
    /// platform log and the file log. If the file can't be opened, the record of `FileUtils::GetFileStream` precedes
    /// it. If the text is not JSON or has more than 1000 nested levels, returns null and logs nothing.
    static cJSON* ParseJsonFromFile(const std::string& path);

    /// Return true if the object has the member and the member has the type. Every number is an int, 3.9 included.
    static bool IsInt(cJSON * root, std::string key);
    static bool IsString(cJSON * root, std::string key);
    static bool IsBoolean(cJSON * root, std::string key);
    static bool IsArray(cJSON * root, std::string key);
    static bool IsObject(cJSON * root, std::string key);

    /// Return the member's value, or `defaultValue` if it is absent or has another type. `GetInt` drops the fraction
    /// and clamps to the range of int: 3.9 gives 3, 1e99 gives INT_MAX.
    static int GetInt(cJSON * root, std::string key, int defaultValue);
    static std::string GetString(cJSON * root, std::string key, std::string defaultValue);
    static bool GetBool(cJSON * root, std::string key, bool defaultValue);

    /// Return the member, which stays part of the tree, or null if it is absent or has another type.
    static cJSON* GetArray(cJSON * root, std::string key);
    static cJSON* GetObject(cJSON * root, std::string key);
};

}  // namespace TEKLO::QuickFixEngine
