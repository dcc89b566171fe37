#include <dlfcn.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <string>

#include "verification/overlay_scan.h"

namespace qfctl {
namespace {

bool IsSafePath(const std::filesystem::path& path) {
    return path.is_absolute() && std::all_of(path.begin(), path.end(), [](const std::filesystem::path& name) {
               return name == "/" || IsSafeName(name);
           });
}

/// Returns true for an `ls` command of the library whose path a shell would interpret or split.
bool IsUnsafeListing(const std::string& command) {
    const bool isListing = command.rfind("ls -", 0) == 0;
    return isListing && !IsSafePath(command.substr(std::min(command.size(), sizeof("ls -l"))));
}

}  // namespace
}  // namespace qfctl

/// Replaces popen of the C library for this process, including quickfix_utils. Refuses unsafe `ls` commands, because a
/// shell could otherwise interpret a name that appears in the overlay after the scan.
extern "C" [[gnu::visibility("default")]] FILE* popen(const char* command, const char* mode) {
    static const auto next = reinterpret_cast<FILE* (*)(const char*, const char*)>(dlsym(RTLD_NEXT, "popen"));
    if (qfctl::IsUnsafeListing(command)) {
        errno = EPERM;
        return nullptr;
    }
    return next(command, mode);
}
