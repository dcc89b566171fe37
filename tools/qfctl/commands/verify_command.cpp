#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <iterator>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "commands/command.h"
#include "commands/commands.h"
#include "failure.h"
#include "input/app_list.h"
#include "quick_fix_plume_wrapper.h"
#include "report/identity.h"
#include "report/page.h"
#include "report/progress_line.h"
#include "report/report_object.h"
#include "report/results.h"
#include "report/table.h"
#include "system/atomic_file.h"
#include "system/scoped_stderr_to_null.h"
#include "system/terminal.h"
#include "test_manager.h"
#include "text/escape.h"
#include "verification/app_verdicts.h"
#include "verification/file_verdicts.h"
#include "verification/overlay_scan.h"
#include "verification/preconditions.h"
#include "verification/read_watchdog.h"

namespace qfctl {
namespace {

using TEKLO::QuickFixEngine::Inspection;
using TEKLO::QuickFixEngine::PATCH_OVERLAY_PATH;
using TEKLO::QuickFixEngine::QuickFixPlumeLevel;
using TEKLO::QuickFixEngine::QuickFixPlumeWrapper;
using TEKLO::QuickFixEngine::TestManager;

struct VerifyOptions {
    bool json = false;
    bool verbose = false;
    bool nativeOnly = false;
    bool appsOnly = false;
    bool usesShell = false;
    std::string appsFile;
    std::string reportFile;
    std::string htmlFile;

    bool RunsNative() const { return !appsOnly; }
    bool RunsApps() const { return !appsFile.empty() && !nativeOnly; }
};

struct CheckOutput {
    std::string fragments;  // of the chosen runs, joined
    Results results;
    uint64_t inconclusive = 0;
};

CheckOutput RunChecks(const VerifyOptions& options, const std::vector<App>& apps, ProgressLine& progress) {
    std::optional<ReadWatchdog> watchdog;
    if (options.usesShell) {
        watchdog.emplace();
    }
    TestManager manager;
    manager.SetInspection(options.usesShell ? Inspection::SHELL : Inspection::DIRECT);
    CheckOutput output;
    std::vector<ItemResult>* results = &output.results.files;
    manager.SetItemListener([&progress, &results](const ItemResult& result) {
        results->push_back(result);
        progress.Count(result.item);
    });
    if (options.RunsNative()) {
        output.fragments = manager.CheckNativePatch();
        output.inconclusive = manager.GetInconclusiveCount();
    }
    if (!options.RunsApps()) {
        return output;
    }
    results = &output.results.apps;
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
    return RunChecks(options, apps, progress);
}

CheckOutput RunVerbosely(const VerifyOptions& options, const std::vector<App>& apps) {
    setenv("QUICKFIX_LOG", "stderr", 1);
    QuickFixPlumeWrapper::level_ = QuickFixPlumeLevel::DEBUG;
    ProgressLine none;
    return RunChecks(options, apps, none);
}

/// The file of a report, if one was requested. Throws Failure when it can't be written.
class ReportFile {
public:
    explicit ReportFile(std::string path) : path_(std::move(path)) {
        if (!path_.empty()) {
            WithContext("nothing was verified: " + DescribeError(), [this] { target_.emplace(path_); });
        }
    }

    bool IsWanted() const { return target_.has_value(); }
    void Write(const std::string& content) const {
        if (IsWanted()) {
            WithContext(DescribeError(), [&] { target_->Write(content); });
        }
    }

private:
    std::string DescribeError() const { return "the report " + Quote(path_) + " can't be written: "; }

    std::string path_;
    std::optional<FileTarget> target_;
};

struct Reports {
    explicit Reports(const VerifyOptions& options) : text(options.reportFile), page(options.htmlFile) {}

    ReportFile text;
    ReportFile page;
};

std::vector<std::string> SortedNames(const std::vector<ItemResult>& results) {
    std::vector<std::string> names;
    std::transform(results.begin(), results.end(), std::back_inserter(names),
                   [](const ItemResult& result) { return result.item; });
    std::sort(names.begin(), names.end());
    return names;
}

/// Throws Failure when the results of a run can't be trusted.
void CheckResults(const VerifyOptions& options, const CheckOutput& output, std::vector<std::string> scanned,
                  const std::vector<App>& apps) {
    std::sort(scanned.begin(), scanned.end());
    if (SortedNames(output.results.files) != scanned) {
        throw Failure(ExitCode::NOT_CHECKED,
                      "the overlay changed while it was verified, or its file system doesn't tell files from folders");
    }
    const ScopedStderrToNull quiet;
    if (options.usesShell) {
        CheckFileVerdicts(output.results.files, PATCH_OVERLAY_PATH);
    }
    if (!apps.empty()) {
        CheckAppVerdicts(output.results.apps, apps);
    }
    if (options.usesShell && output.inconclusive > 0) {
        throw Failure(ExitCode::NOT_CHECKED, "inconclusive comparisons (value unreadable in both files): " +
                                                 std::to_string(output.inconclusive));
    }
}

/// What keeps the two files from being compared.
std::vector<std::string> FindReadErrors(const std::string& file) {
    std::vector<std::string> errors;
    for (const std::string& side : {file, PATCH_OVERLAY_PATH + file}) {
        try {
            CheckReadable(side);
        } catch (const Failure& failure) {
            errors.emplace_back(failure.what());
        }
    }
    if (errors.empty()) {
        errors.push_back(Quote(file) + " or its patch file could not be read");
    }
    return errors;
}

/// Throws Failure when there are inconclusive items.
void CheckConclusive(const std::vector<ItemResult>& files) {
    std::vector<std::string> messages;
    for (const ItemResult& result : files) {
        if (result.verdict == Verdict::INCONCLUSIVE) {
            const std::vector<std::string> errors = FindReadErrors(result.item);
            messages.insert(messages.end(), errors.begin(), errors.end());
        }
    }
    if (!messages.empty()) {
        throw Failure(ExitCode::NOT_CHECKED, std::move(messages));
    }
}

/// Lists the files that are verified. Throws Failure when the runs can't be made.
std::vector<std::string> Prepare(const VerifyOptions& options, const std::vector<App>& apps) {
    return WithContext("nothing was verified: ", [&] {
        std::vector<std::string> files;
        if (options.RunsNative()) {
            files = PrepareFileRun(PATCH_OVERLAY_PATH, options.usesShell);
        }
        if (options.RunsApps()) {
            CheckAppPreconditions(apps);
        }
        return files;
    });
}

ExitCode Run(const VerifyOptions& options, const std::vector<App>& apps, const Reports& reports) {
    const Clock::time_point start = Clock::now();
    setenv("LC_ALL", "C", 1);  // in others, grep prints "binary file matches" for bytes that are not UTF-8
    const std::vector<std::string> files = Prepare(options, apps);
    const CheckOutput output =
        options.verbose ? RunVerbosely(options, apps) : RunQuietly(options, apps, files.size() + apps.size());
    const Results& results = output.results;
    CheckResults(options, output, files, apps);
    const std::string text = MakeReportObject(output.fragments, results);
    // Before the output, which fails when standard output is closed.
    const ExitCode written = std::max(
        Attempt([&] { reports.text.Write(text); }),
        Attempt([&] { reports.page.Write(reports.page.IsWanted() ? RenderHtml(results, ReadIdentity(start)) : ""); }));
    if (options.json) {
        std::cout << text;
    } else {
        PrintTable(std::cout, results, SupportsColor(STDOUT_FILENO));
    }
    const ExitCode failed = results.Count(Verdict::FAILED) > 0 ? ExitCode::FAILED : ExitCode::DONE;
    return std::max({written, failed, Attempt([&results] { CheckConclusive(results.files); })});
}

bool IsSameFile(const std::string& one, const std::string& other) {
    std::error_code error;
    return !one.empty() && !other.empty() &&
           std::filesystem::weakly_canonical(one, error) == std::filesystem::weakly_canonical(other, error);
}

ExitCode Verify(const VerifyOptions& options) {
    if (options.appsOnly && options.appsFile.empty()) {
        throw Failure(ExitCode::USAGE, "--app needs --apps FILE");
    }
    if (IsSameFile(options.reportFile, options.htmlFile) || IsSameFile(options.reportFile, options.appsFile) ||
        IsSameFile(options.htmlFile, options.appsFile)) {
        throw Failure(ExitCode::USAGE, "--apps, --report and --html must name different files");
    }
    const Reports reports(options);
    const std::vector<App> apps = options.RunsApps() ? ReadApps(options.appsFile) : std::vector<App>();
    return Run(options, apps, reports);
}

CLI::Option* AddFileOption(CLI::App* command, const char* name, std::string& file, const char* help) {
    return command->add_option(name, file, help)->type_name("FILE")->check(CheckFileName);
}

}  // namespace

void AddVerifyCommand(CLI::App& app, ExitCode& result) {
    const auto options = std::make_shared<VerifyOptions>();
    CLI::App* command =
        AddCommand(app, result, options, "verify",
                   "Verify that every file below /patch_qv/overlay is in place, and that apps are patched", Verify);
    AddFileOption(
        command, "--apps", options->appsFile,
        "Verify these apps too: {\"apps\": [{\"bundleName\": \"com.example.app\", \"versionCode\": 1000001}]}");
    auto* native = command->add_flag("--native", options->nativeOnly, "Verify the files only");
    command->add_flag("--app", options->appsOnly, "Verify the apps only")->excludes(native);
    command->add_flag("--json", options->json, "Print the report object instead of the table");
    AddFileOption(command, "--report", options->reportFile, "Write the report object to a file, whole or not at all");
    AddFileOption(command, "--html", options->htmlFile, "Write the report as a self-contained page, likewise");
    command->add_flag("--shell", options->usesShell,
                      "Run the commands of an engine that uses a shell, and refuse names that one would interpret");
    command->add_flag("-v,--verbose", options->verbose, "Show the library's records on standard error");
}

}  // namespace qfctl
