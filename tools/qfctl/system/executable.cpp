#include "system/executable.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <sstream>

namespace qfctl {

bool IsExecutable(const std::string& path) {
    struct stat status = {};
    return stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode) && access(path.c_str(), X_OK) == 0;
}

bool IsInPath(const std::string& command) {
    const char* path = getenv("PATH");
    std::istringstream folders(path != nullptr ? path : "/bin:/usr/bin");
    for (std::string folder; std::getline(folders, folder, ':');) {
        if (IsExecutable(std::filesystem::path(folder) / command)) {
            return true;
        }
    }
    return false;
}

}  // namespace qfctl
