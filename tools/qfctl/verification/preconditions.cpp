#include "verification/preconditions.h"

#include "failure.h"
#include "system/executable.h"
#include "system/scoped_stderr_to_null.h"
#include "test_manager.h"
#include "verification/app_verdicts.h"
#include "verification/overlay_scan.h"

namespace qfctl {

using TEKLO::QuickFixEngine::TestManager;

namespace {

OverlayScan ScanForFiles(const std::string& overlay) {
    OverlayScan scan = ScanOverlay(overlay);
    if (scan.files.empty()) {
        throw Failure(ExitCode::NOT_CHECKED, "there is no file below " + overlay);
    }
    return scan;
}

}  // namespace

std::vector<std::string> ListFiles(const std::string& overlay) {
    return ScanForFiles(overlay).files;
}

std::vector<std::string> PrepareShellRun(const std::string& overlay) {
    OverlayScan scan = ScanForFiles(overlay);
    CheckForShell(scan, overlay);
    if (TestManager().GetFileProp("/").empty() || TestManager().GetFileSeLinux("/").empty()) {
        throw Failure(ExitCode::NOT_CHECKED, "the command ls can't be run");
    }
    return std::move(scan.files);
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
