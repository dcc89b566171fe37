#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <iostream>
#include <iterator>
#include <memory>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "commands/commands.h"
#include "input/app_list.h"
#include "quick_fix_plume_wrapper.h"
#include "report/html_report.h"
#include "report/verify_report.h"
#include "report/verify_table.h"
#include "system/atomic_file.h"
#include "system/unique_fd.h"
#include "test_manager.h"
#include "text/escape.h"
#include "text/utf8.h"
#include "verification/app_verdicts.h"
#include "verification/file_verdicts.h"
#include "verification/overlay_scan.h"
#include "verification/read_watchdog.h"

namespace qfctl {
namespace {

using TEKLO::QuickFixEngine::ItemResult;
using TEKLO::QuickFixEngine::QuickFixPlumeLevel;
using TEKLO::QuickFixEngine::QuickFixPlumeWrapper;
using TEKLO::QuickFixEngine::TestManager;

constexpr char OVERLAY[] = "/patch_qv/overlay";

struct VerifyOptions {
    bool json = false;
    bool verbose = false;
    bool nativeOnly = false;
    bool appsOnly = false;
    std::string appsFile;
    std::string reportFile;
    std::string htmlFile;

    bool RunsNative() const { return !appsOnly; }
    bool RunsApps() const { return !appsFile.empty() && !nativeOnly; }
};

bool TakesColour(int descriptor) {
    const char* noColour = getenv("NO_COLOR");
    return (noColour == nullptr || *noColour == '\0') && isatty(descriptor) == 1;
}

/// Keeps standard error from the commands of a run: for a missing live file they say what the table says better.
class ScopedStderrToNull {
public:
    ScopedStderrToNull() : former_(fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 0)) {
        const UniqueFd null(open("/dev/null", O_WRONLY | O_CLOEXEC));
        if (former_.IsOpen() && null.IsOpen()) {
            dup2(null.Get(), STDERR_FILENO);
        }
    }
    ~ScopedStderrToNull() {
        if (former_.IsOpen()) {
            dup2(former_.Get(), STDERR_FILENO);
        }
    }
    ScopedStderrToNull(const ScopedStderrToNull&) = delete;
    ScopedStderrToNull& operator=(const ScopedStderrToNull&) = delete;

private:
    UniqueFd former_;
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
        Print("[" + std::to_string(done_) + "/" + std::to_string(total_) + "] " + Printable(item));
    }

private:
    void Print(const std::string& text) const {
        if (terminal_ < 0) {
            return;
        }
        winsize size = {};
        const size_t columns = ioctl(terminal_, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : 80;
        const std::string line = "\r" + FirstColumns(text, columns - 1) + "\x1b[K";
        (void)!write(terminal_, line.data(), line.size());
    }

    size_t total_;
    size_t done_ = 0;
    int terminal_;
};

/// Prints why not when the overlay can't be handed to the library whole.
bool CheckOverlayPreconditions(const OverlayScan& scan) {
    if (!scan.unsafeNames.empty()) {
        std::cerr << "qfctl: nothing was verified: the commands of the verification go through a shell, "
                     "which would "
                     "interpret or split these names:\n";
        for (const std::string& name : scan.unsafeNames) {
            std::cerr << "  " << Quote(name) << "\n";
        }
    }
    for (const std::string& error : scan.errors) {
        std::cerr << "qfctl: nothing was verified: " << error << "\n";
    }
    if (!scan.unsafeNames.empty() || !scan.errors.empty()) {
        return false;
    }
    if (scan.files.empty()) {
        std::cerr << "qfctl: nothing was verified: there is no file below " << OVERLAY << "\n";
        return false;
    }
    if (TestManager().GetFileProp("/").empty() || TestManager().GetFileSeLinux("/").empty()) {
        std::cerr << "qfctl: nothing was verified: the command ls can't be run\n";
        return false;
    }
    return true;
}

/// True when a command of this name is in the path.
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

/// Prints why not when the apps can't be asked about.
bool CheckAppPreconditions(const std::vector<App>& apps) {
    for (const char* command : {"bm", "grep", "egrep", "tail"}) {
        if (!IsInPath(command)) {
            std::cerr << "qfctl: nothing was verified: the command " << command << " is not in PATH\n";
            return false;
        }
    }
    if (apps.empty()) {
        std::cerr << "qfctl: nothing was verified: the list of apps is empty\n";
        return false;
    }
    const std::string error = [] {
        const ScopedStderrToNull quiet;
        return CheckBundleTool();
    }();
    if (!error.empty()) {
        std::cerr << "qfctl: nothing was verified: " << error << "\n";
    }
    return error.empty();
}

struct CheckOutput {
    std::string fragments;  // of the chosen runs, joined
    uint64_t inconclusive = 0;
};

CheckOutput RunChecks(TestManager& manager, const VerifyOptions& options, const std::vector<App>& apps) {
    CheckOutput output;
    if (options.RunsNative()) {
        output = {manager.CheckNativePatch(), manager.GetInconclusiveCount()};
    }
    if (!options.RunsApps()) {
        return output;
    }
    manager.CheckAppPatchInit();
    for (const App& app : apps) {
        manager.CheckAppPatch(app.bundleName, app.versionCode);
    }
    output.fragments += (output.fragments.empty() ? "" : ",") + manager.CheckAppPatchEnd();
    return output;
}

CheckOutput RunQuietly(const VerifyOptions& options, const std::vector<App>& apps, size_t total) {
    ProgressLine progress(total);
    const ScopedStderrToNull quiet;
    const ReadWatchdog watchdog;
    TestManager manager;
    manager.SetItemListener([&progress](const ItemResult& result) { progress.Count(result.item); });
    return RunChecks(manager, options, apps);
}

CheckOutput RunVerbosely(const VerifyOptions& options, const std::vector<App>& apps) {
    setenv("QUICKFIX_LOG", "stderr", 1);
    QuickFixPlumeWrapper::level_ = QuickFixPlumeLevel::DEBUG;
    const ReadWatchdog watchdog;
    TestManager manager;
    return RunChecks(manager, options, apps);
}

/// A report that was asked for, or none.
struct ReportFile {
    explicit ReportFile(const std::string& file) : path(file) {
        if (!path.empty()) {
            target.emplace(path);
        }
    }

    const std::string path;
    std::optional<FileTarget> target;
};

struct Reports {
    ReportFile text;
    ReportFile page;
};

/// Prints why not when a report that was asked for can't be written.
bool WriteReportFile(const ReportFile& file, const std::string& content) {
    const std::string error = file.target ? file.target->Write(content) : "";
    if (!error.empty()) {
        std::cerr << "qfctl: the report " << Quote(file.path) << " can't be written: " << error << "\n";
    }
    return error.empty();
}

std::vector<std::string> SortedNames(const std::vector<VerifiedItem>& items) {
    std::vector<std::string> names;
    std::transform(items.begin(), items.end(), std::back_inserter(names),
                   [](const VerifiedItem& item) { return item.name; });
    std::sort(names.begin(), names.end());
    return names;
}

/// Why the report of a run can't be trusted; empty when it can.
std::string CheckReport(const VerifyReport& report, const OverlayScan& scan, const std::vector<App>& apps) {
    std::vector<std::string> scanned = scan.files;
    std::sort(scanned.begin(), scanned.end());
    if (SortedNames(report.files) != scanned) {
        return "the overlay changed while it was verified, or its file system doesn't tell files from folders";
    }
    const ScopedStderrToNull quiet;
    const std::string error = CheckFileVerdicts(report.files, OVERLAY);
    return error.empty() && !apps.empty() ? CheckAppVerdicts(report.apps, apps) : error;
}

ExitCode Run(const VerifyOptions& options, const std::vector<App>& apps, const Reports& reports) {
    setenv("LC_ALL", "C", 1);  // grep says of a byte that is no UTF-8 "binary file matches" in other locales
    const OverlayScan scan = options.RunsNative() ? ScanOverlay(OVERLAY) : OverlayScan();
    if ((options.RunsNative() && !CheckOverlayPreconditions(scan)) ||
        (options.RunsApps() && !CheckAppPreconditions(apps))) {
        return ExitCode::NOT_CHECKED;
    }
    const CheckOutput output =
        options.verbose ? RunVerbosely(options, apps) : RunQuietly(options, apps, scan.files.size() + apps.size());
    const std::string text = "{" + EscapeJsonControls(output.fragments) + "}\n";
    const VerifyReport report = ReadReport(text);
    const std::string error = CheckReport(report, scan, apps);
    if (!error.empty()) {
        return Fail(ExitCode::NOT_CHECKED, error);
    }
    if (output.inconclusive > 0) {
        return Fail(ExitCode::NOT_CHECKED,
                    "comparisons that proved nothing, since of neither file could the value be had: " +
                        std::to_string(output.inconclusive));
    }
    // First what a closed standard output can't cost.
    const bool isTextWritten = WriteReportFile(reports.text, text);
    const bool isPageWritten = WriteReportFile(reports.page, reports.page.target ? RenderHtml(report) : "");
    if (options.json) {
        std::cout << text;
    } else {
        PrintTable(std::cout, report, TakesColour(STDOUT_FILENO));
    }
    if (!isTextWritten || !isPageWritten) {
        return ExitCode::NOT_CHECKED;
    }
    return report.Passed() ? ExitCode::DONE : ExitCode::FAILED;
}

bool IsSameFile(const std::string& one, const std::string& other) {
    std::error_code error;
    return !one.empty() && !other.empty() &&
           std::filesystem::weakly_canonical(one, error) == std::filesystem::weakly_canonical(other, error);
}

ExitCode Verify(const VerifyOptions& options) {
    if (options.appsOnly && options.appsFile.empty()) {
        return Fail(ExitCode::USAGE, "--app needs --apps FILE");
    }
    if (IsSameFile(options.reportFile, options.htmlFile) || IsSameFile(options.reportFile, options.appsFile) ||
        IsSameFile(options.htmlFile, options.appsFile)) {
        return Fail(ExitCode::USAGE, "--apps, --report and --html must name different files");
    }
    const Reports reports = {ReportFile(options.reportFile), ReportFile(options.htmlFile)};
    for (const ReportFile* file : {&reports.text, &reports.page}) {
        if (file->target && !file->target->GetError().empty()) {
            return Fail(ExitCode::NOT_CHECKED, "nothing was verified: the report " + Quote(file->path) +
                                                   " can't be written: " + file->target->GetError());
        }
    }
    std::vector<App> apps;
    if (options.RunsApps()) {
        struct stat status = {};
        if (stat(options.appsFile.c_str(), &status) != 0 || access(options.appsFile.c_str(), R_OK) != 0) {
            return Fail(ExitCode::NOT_CHECKED, Quote(options.appsFile) + " can't be read: " + strerror(errno));
        }
        if (!S_ISREG(status.st_mode)) {
            return Fail(ExitCode::NOT_CHECKED, Quote(options.appsFile) + " can't be read: it is not a regular file");
        }
        try {
            apps = ReadApps(options.appsFile);
        } catch (const std::invalid_argument& error) {
            return Fail(ExitCode::USAGE,
                        "the list of apps " + Quote(options.appsFile) + " is refused: " + error.what());
        }
    }
    return Run(options, apps, reports);
}

CLI::Option* AddFileOption(CLI::App* command, const char* name, std::string& file, const char* help) {
    return command->add_option(name, file, help)->type_name("FILE")->check([](const std::string& given) {
        return given.empty() ? "the file's name is empty" : "";
    });
}

}  // namespace

void AddVerifyCommand(CLI::App& app, ExitCode& result) {
    CLI::App* command = app.add_subcommand(
        "verify", "Verify that every file below /patch_qv/overlay is in place, and that apps are patched");
    const auto options = std::make_shared<VerifyOptions>();
    AddFileOption(
        command, "--apps", options->appsFile,
        "Verify these apps too: {\"apps\": [{\"bundleName\": \"com.example.app\", \"versionCode\": 1000001}]}");
    auto* native = command->add_flag("--native", options->nativeOnly, "Verify the files only");
    command->add_flag("--app", options->appsOnly, "Verify the apps only")->excludes(native);
    command->add_flag("--json", options->json, "Print the report object instead of the table");
    AddFileOption(command, "--report", options->reportFile, "Write the report object to a file, whole or not at all");
    AddFileOption(command, "--html", options->htmlFile, "Write the report as a self-contained page, likewise");
    command->add_flag("-v,--verbose", options->verbose, "Show the library's records on standard error");
    command->callback([options, &result] { result = Verify(*options); });
}

}  // namespace qfctl
