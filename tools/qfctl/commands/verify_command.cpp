#include <unistd.h>

#include <algorithm>
#include <chrono>
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
#include "input/status_file.h"
#include "quick_fix_plume_wrapper.h"
#include "report/identity.h"
#include "report/junit.h"
#include "report/metrics.h"
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
    bool failuresOnly = false;
    std::string appsFile;
    std::string reportFile;
    std::string htmlFile;
    std::string junitFile;
    std::string metricsFile;
    std::string statusFile;

    bool RunsNative() const { return !appsOnly; }
    bool RunsApps() const { return !appsFile.empty() && !nativeOnly; }
    bool NamesSystem() const { return !htmlFile.empty() || !junitFile.empty() || !metricsFile.empty(); }
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

    /// Writes what `render` returns. Prints a failure and returns its code.
    template <typename Render>
    ExitCode Write(Render render) const {
        return Attempt([&] {
            if (target_) {
                WithContext(DescribeError(), [&] { target_->Write(render()); });
            }
        });
    }

private:
    std::string DescribeError() const { return "the report " + Quote(path_) + " can't be written: "; }

    std::string path_;
    std::optional<FileTarget> target_;
};

struct Reports {
    explicit Reports(const VerifyOptions& options)
        : text(options.reportFile), page(options.htmlFile), junit(options.junitFile) {}

    ReportFile text;
    ReportFile page;
    ReportFile junit;
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

struct Verification {
    Results results;
    std::string reportObject;
};

/// Throws Failure when a run can't be made or trusted.
Verification RunTrusted(const VerifyOptions& options) {
    const std::vector<App> apps = options.RunsApps() ? ReadApps(options.appsFile) : std::vector<App>();
    setenv("LC_ALL", "C", 1);  // in others, grep prints "binary file matches" for bytes that are not UTF-8
    const std::vector<std::string> files = Prepare(options, apps);
    CheckOutput output =
        options.verbose ? RunVerbosely(options, apps) : RunQuietly(options, apps, files.size() + apps.size());
    CheckResults(options, output, files, apps);
    std::string reportObject = MakeReportObject(output.fragments, output.results);
    return {std::move(output.results), std::move(reportObject)};
}

ExitCode CodeOf(const Results& results) {
    return results.Count(Verdict::INCONCLUSIVE) > 0 ? ExitCode::NOT_CHECKED
           : results.Count(Verdict::FAILED) > 0     ? ExitCode::FAILED
                                                    : ExitCode::DONE;
}

/// Verifies and writes the reports. Leaves the verification in `made` when it could be made and trusted.
ExitCode VerifyAndReport(const VerifyOptions& options, const Identity& identity, std::optional<Verification>& made) {
    const Reports reports(options);
    made = RunTrusted(options);
    const Results& results = made->results;
    return std::max({CodeOf(results), reports.text.Write([&] { return made->reportObject; }),
                     reports.page.Write([&] { return RenderHtml(results, identity); }),
                     reports.junit.Write([&] { return RenderJunit(results, identity); })});
}

PatchStatus ReadPatchStatus(const std::string& path) {
    const StatusFile file = ReadStatusFile(path);
    if (!file.formatMismatch.empty()) {
        throw Failure(ExitCode::NOT_CHECKED, Quote(path) + " is not a status file: " + file.formatMismatch);
    }
    const std::vector<int32_t> codes = ParseErrorCodes(file.values.errorCode);
    return {file.values.version, file.values.status, {codes.begin(), codes.end()}};
}

/// Reads the status file into the metrics. Prints a failure and returns NOT_CHECKED.
ExitCode AddStatus(const VerifyOptions& options, Metrics& metrics) {
    const bool isRead = options.statusFile.empty() ||
                        Attempt([&] { metrics.status = ReadPatchStatus(options.statusFile); }) == ExitCode::DONE;
    return isRead ? ExitCode::DONE : ExitCode::NOT_CHECKED;
}

void Print(const VerifyOptions& options, const Verification& made) {
    if (options.json) {
        std::cout << made.reportObject;
    } else {
        PrintTable(std::cout, made.results, options.failuresOnly, SupportsColor(STDOUT_FILENO));
    }
}

/// The path without links; that of a file which doesn't exist may end in names that don't.
std::filesystem::path Resolve(const std::string& path) {
    std::error_code error;
    return std::filesystem::weakly_canonical(std::filesystem::absolute(path, error), error);
}

bool IsSameFile(const std::string& one, const std::string& other) {
    return !one.empty() && !other.empty() && Resolve(one) == Resolve(other);
}

void CheckOptions(const VerifyOptions& options) {
    if (options.appsOnly && options.appsFile.empty()) {
        throw Failure(ExitCode::USAGE, "--app needs --apps FILE");
    }
    const std::vector<std::string> files = {options.appsFile,  options.reportFile,  options.htmlFile,
                                            options.junitFile, options.metricsFile, options.statusFile};
    for (auto file = files.begin(); file != files.end(); ++file) {
        if (std::any_of(file + 1, files.end(), [file](const std::string& other) { return IsSameFile(*file, other); })) {
            throw Failure(ExitCode::USAGE, "two options name the same file: " + Quote(*file));
        }
    }
}

ExitCode Verify(const VerifyOptions& options) {
    CheckOptions(options);
    const ReportFile metricsFile(options.metricsFile);
    const auto start = std::chrono::steady_clock::now();
    Metrics metrics;
    metrics.identity = options.NamesSystem() ? ReadIdentity(Clock::now()) : Identity();
    std::optional<Verification> made;
    metrics.exitCode = Attempt([&] { return VerifyAndReport(options, metrics.identity, made); });
    metrics.exitCode = std::max(metrics.exitCode, AddStatus(options, metrics));
    metrics.duration = std::chrono::duration_cast<std::chrono::microseconds>(std::chrono::steady_clock::now() - start);
    metrics.results = made ? &made->results : nullptr;
    // Before the output, which fails when standard output is closed.
    const ExitCode written = metricsFile.Write([&metrics] { return RenderMetrics(metrics); });
    if (made) {
        Print(options, *made);
        (void)Attempt([&made] { CheckConclusive(made->results.files); });
    }
    return std::max(metrics.exitCode, written);
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
    auto* json = command->add_flag("--json", options->json, "Print the report object instead of the table");
    command->add_flag("--failures", options->failuresOnly, "Leave what passed out of the table")->excludes(json);
    AddFileOption(command, "--report", options->reportFile, "Write the report object to a file, whole or not at all");
    AddFileOption(command, "--html", options->htmlFile, "Write the report as a self-contained page, likewise");
    AddFileOption(command, "--junit", options->junitFile, "Write the report as JUnit XML, likewise");
    auto* metrics = AddFileOption(command, "--metrics", options->metricsFile,
                                  "Write metrics for Prometheus to a file, also when nothing could be verified");
    AddFileOption(command, "--status-file", options->statusFile, "Add what this status file says to the metrics")
        ->needs(metrics);
    command->add_flag("--shell", options->usesShell,
                      "Run the commands of an engine that uses a shell, and refuse names that one would interpret");
    command->add_flag("-v,--verbose", options->verbose, "Show the library's records on standard error");
}

}  // namespace qfctl
