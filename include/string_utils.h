/// Splitting, trimming, and keys of the kernel command line.
#pragma once

#include <string>
#include <vector>

namespace TEKLO::QuickFixEngine {

/// String operations without state. White space is space, tab, line feed, vertical tab, form feed and carriage return,
/// whatever the locale. Only `GetKeyCmdlineStr` writes records.
///
/// Threads: any; the trimming functions need their argument for themselves.
class [[gnu::visibility("default")]] StringUtils {
public:
    /// The non-empty pieces between separators; `text` is not modified.
    ///
    ///     ",,a, b,,"  ','  {"a", " b"}
    ///     "abc"       ','  {"abc"}
    ///     ",,", ""    ','  {}
    static std::vector<std::string> Split(std::string & text, char separator);

    /// Erase white space at the front, at the end, at both, and return the same string.
    static std::string& LTrim(std::string & text);
    static std::string& RTrim(std::string & text);
    static std::string& Trim(std::string & text);

    /// The first token of /proc/cmdline that contains `key` anywhere, whole and unchanged: "cab=2" for "ab", and the
    /// command line's line feed stays on its last token. An empty key finds the first token.
    /// Empty when there is none; "Get key no res from cmdline." at error level then, but for an empty or unreadable
    /// command line. Records what was found as "GetKpatchCmdline: %{public}s" at info level. Platform log and file log.
    static std::string GetKeyCmdlineStr(const std::string& key);
};

}  // namespace TEKLO::QuickFixEngine
