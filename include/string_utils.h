/// Splits and trims strings, and searches the kernel command line.
#pragma once

#include <string>
#include <vector>

namespace TEKLO::QuickFixEngine {

/// String operations without state. In every locale, white space is space, tab, line feed, vertical tab, form feed and
/// carriage return. Only `GetKeyCmdlineStr` logs.
///
/// Threads: any thread may call any function. The trimming functions modify their argument, so no other thread may use
/// it.
class [[gnu::visibility("default")]] StringUtils {
public:
    /// Returns the pieces between separators, without empty ones. Does not modify `text`.
    ///
    ///     ",,a, b,,"  ','  {"a", " b"}
    ///     "abc"       ','  {"abc"}
    ///     ",,", ""    ','  {}
    static std::vector<std::string> Split(std::string & text, char separator);

    /// Remove white space at the start, at the end, or at both. Modify `text` and return it.
    static std::string& LTrim(std::string & text);
    static std::string& RTrim(std::string & text);
    static std::string& Trim(std::string & text);

    /// Returns the first token of /proc/cmdline that contains `key` anywhere: "cab=2" for "ab". An empty key matches
    /// the first token. Tokens are separated by spaces. The last token keeps the line feed that ends the command line.
    ///
    /// Logs "GetKpatchCmdline: %{public}s" with the token at info level, to the platform log and the file log. If no
    /// token matches, returns "" and logs "Get key no res from cmdline." at error level instead. If the command line
    /// is empty or can't be read, returns "" and logs at most the record of `FileUtils::GetFileStream`.
    static std::string GetKeyCmdlineStr(const std::string& key);
};

}  // namespace TEKLO::QuickFixEngine
