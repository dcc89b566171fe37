#include "verification/preconditions.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <sstream>

#include "failure.h"
#include "system/scoped_stderr_to_null.h"
#include "test_manager.h"
#include "verification/app_verdicts.h"
#include "verification/overlay_scan.h"

namespace qfctl {
namespace {

using TEKLO::QuickFixEngine::TestManager;

bool IsInPath(const std::string& command) {
    const char* path = getenv("PATH");
    std::istringstream folders(path != nullptr ? path : "/bin:/usr/bin");
    for (std::string folder; std::getline(folders, folder, ':');) {
        const std::filesystem::path file = std::filesystem::path(folder) / command;
        struct stat status = {};
        if (stat(file.c_str(), &status) == 0 && S_ISREG(status.st_mode) && access(file.c_str(), X_OK) == 0) {
            return true;
        }
    }
    return false;
}

}  // namespace

std::vector<std::string> PrepareFileRun(const std::string& overlay) {
    std::vector<std::string> files = ListOverlayFiles(overlay);
    if (files.empty()) {
        throw Failure(ExitCode::NOT_CHECKED, "there is no file below " + overlay);
    }
    if (TestManager().GetFileProp("/").empty() || TestManager().GetFileSeLinux("/").empty()) {
        throw Failure(ExitCode::NOT_CHECKED, "the command ls can't be run");
    }
    return files;
}

void CheckAppPreconditions(const std::vector<App>& apps) {
    for (const std::string& command : std::initializer_list<std::string>{"bm", "grep", "egrep", "tail"}) {
        if (!IsInPath(command)) {
            throw Failure(ExitCode::NOT_CHECKED, "the command " + command + " is not in PATH");
        }
    }
    if (apps.empty()) {
        throw Failure(ExitCode::NOT_CHECKED, "the list of apps is empty");
    }
    const ScopedStderrToNull quiet;
    CheckBundleTool();
}

}  // namespace qfctl
