#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <iostream>
#include <memory>
#include <string>

#include "atomic_file.h"
#include "commands.h"
#include "escape.h"
#include "overlay_scan.h"
#include "quick_fix_plume_wrapper.h"
#include "test_manager.h"
#include "verify_report.h"
#include "verify_table.h"

namespace {

using TEKLO::QuickFixEngine::QuickFixPlumeLevel;
using TEKLO::QuickFixEngine::QuickFixPlumeWrapper;
using TEKLO::QuickFixEngine::TestManager;

constexpr char OVERLAY[] = "/patch_qv/overlay";

struct VerifyOptions {
    bool json = false;
    bool verbose = false;
    std::string reportFile;
};

bool TakesColour(int descriptor) {
    const char* noColour = getenv("NO_COLOR");
    return (noColour == nullptr || *noColour == '\0') && isatty(descriptor) == 1;
}

/// Standard error kept from the commands of a run: for a missing live file they say what the table says
/// better.
class QuietStderr {
public:
    QuietStderr() : former_(fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 0)) {
        const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
        if (former_ >= 0 && nowhere >= 0) {
            dup2(nowhere, STDERR_FILENO);
        }
        close(nowhere);
    }
    ~QuietStderr() {
        if (former_ >= 0) {
            dup2(former_, STDERR_FILENO);
            close(former_);
        }
    }
    QuietStderr(const QuietStderr&) = delete;
    QuietStderr& operator=(const QuietStderr&) = delete;

private:
    int former_;
};

/// A line on the terminal that tells how far the run is; nothing where standard error is no terminal.
class ProgressLine {
public:
    explicit ProgressLine(size_t total)
        : total_(total), terminal_(isatty(STDERR_FILENO) == 1 ? fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 0) : -1) {}
    ~ProgressLine() {
        Print("");
        close(terminal_);
    }
    ProgressLine(const ProgressLine&) = delete;
    ProgressLine& operator=(const ProgressLine&) = delete;

    void Count(const std::string& item) {
        ++done_;
        Print("[" + std::to_string(done_) + "/" + std::to_string(total_) + "] " + item);
    }

private:
    void Print(const std::string& text) const {
        if (terminal_ < 0) {
            return;
        }
        winsize size = {};
        const size_t columns = ioctl(terminal_, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : 80;
        const std::string line = "\r" + text.substr(0, columns - 1) + "\x1b[K";
        (void)!write(terminal_, line.data(), line.size());
    }

    size_t total_;
    size_t done_ = 0;
    int terminal_;
};

/// True when all of the overlay can be handed to the library; otherwise says what stands in the way.
bool CanBeVerified(const OverlayScan& scan) {
    if (!scan.unsafeNames.empty()) {
        std::cerr << "qfctl: nothing was verified: the commands of the verification go through a shell, "
                     "which would "
                     "interpret or split these names:\n";
        for (const std::string& name : scan.unsafeNames) {
            std::cerr << "  " << Quote(name) << "\n";
        }
    }
    for (const std::string& obstacle : scan.obstacles) {
        std::cerr << "qfctl: nothing was verified: " << obstacle << "\n";
    }
    if (!scan.unsafeNames.empty() || !scan.obstacles.empty()) {
        return false;
    }
    if (scan.files == 0) {
        std::cerr << "qfctl: nothing was verified: there is no file below " << OVERLAY << "\n";
        return false;
    }
    if (TestManager().GetFileProp("/").empty() || TestManager().GetFileSeLinux("/").empty()) {
        std::cerr << "qfctl: nothing was verified: the command ls can't be run\n";
        return false;
    }
    return true;
}

std::string RunNativeChecks(size_t files, bool verbose) {
    TestManager manager;
    if (verbose) {
        setenv("QUICKFIX_LOG", "stderr", 1);
        QuickFixPlumeWrapper::level_ = QuickFixPlumeLevel::DEBUG;
        return manager.CheckNativePatch();
    }
    ProgressLine progress(files);
    const QuietStderr quiet;
    manager.SetProgressListener([&progress](const std::string& item, bool /*passed*/) { progress.Count(item); });
    return manager.CheckNativePatch();
}

ExitCode Verify(const VerifyOptions& options) {
    const std::string obstacle = options.reportFile.empty() ? "" : WhyNotWritable(options.reportFile);
    if (!obstacle.empty()) {
        return Fail(ExitCode::NOT_CHECKED,
                    "nothing was verified: the report " + Quote(options.reportFile) + " can't be written: " + obstacle);
    }
    const OverlayScan scan = ScanOverlay(OVERLAY);
    if (!CanBeVerified(scan)) {
        return ExitCode::NOT_CHECKED;
    }
    const std::string report = "{" + EscapeJsonControls(RunNativeChecks(scan.files, options.verbose)) + "}\n";
    const std::vector<VerifiedItem> items = ReadReport(report);
    if (items.size() != scan.files) {
        return Fail(ExitCode::NOT_CHECKED,
                    "the overlay changed while it was verified, or its file system doesn't tell files from folders");
    }
    if (options.json) {
        std::cout << report;
    } else {
        PrintTable(std::cout, items, TakesColour(STDOUT_FILENO));
    }
    const std::string failure = options.reportFile.empty() ? "" : WriteWhole(options.reportFile, report);
    if (!failure.empty()) {
        return Fail(ExitCode::NOT_CHECKED, "the report " + Quote(options.reportFile) + " can't be written: " + failure);
    }
    const bool passed = std::all_of(items.begin(), items.end(), [](const VerifiedItem& item) { return item.passed; });
    return passed ? ExitCode::DONE : ExitCode::FAILED;
}

}  // namespace

void AddVerifyCommand(CLI::App& app, ExitCode& result) {
    CLI::App* command = app.add_subcommand(
        "verify", "Verify that every file below /patch_qv/overlay is in place: content, mode and label");
    const auto options = std::make_shared<VerifyOptions>();
    command->add_flag("--json", options->json, "Print the report object instead of the table");
    command->add_option("--report", options->reportFile, "Write the report object to a file, whole or not at all")
        ->type_name("FILE")
        ->check([](const std::string& file) { return file.empty() ? "the file's name is empty" : ""; });
    command->add_flag("-v,--verbose", options->verbose, "Show the library's records on standard error");
    command->callback([options, &result] { result = Verify(*options); });
}
