#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <iostream>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "commands/command.h"
#include "commands/commands.h"
#include "failure.h"
#include "input/status_file.h"
#include "report/identity.h"
#include "report/junit.h"
#include "report/metrics.h"
#include "report/page.h"
#include "report/results.h"
#include "report/table.h"
#include "system/atomic_file.h"
#include "system/terminal.h"
#include "text/escape.h"
#include "verification/verification.h"

namespace qfctl {
namespace {

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

    VerificationOptions GetVerification() const { return {!appsOnly, nativeOnly ? "" : appsFile, usesShell, verbose}; }
    bool NamesSystem() const { return !htmlFile.empty() || !junitFile.empty() || !metricsFile.empty(); }
};

/// The file of a report. An empty path means that the report was not requested. The constructor throws Failure if the
/// file can't be written.
class ReportFile {
public:
    explicit ReportFile(std::string path) : path_(std::move(path)) {
        if (!path_.empty()) {
            WithContext("nothing was verified: " + DescribeError(), [this] { target_.emplace(path_); });
        }
    }

    /// Writes the text that `render` returns. If that fails, prints the failure and returns its code.
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

ExitCode CodeOf(const Results& results) {
    return results.Count(Verdict::INCONCLUSIVE) > 0 ? ExitCode::NOT_CHECKED
           : results.Count(Verdict::FAILED) > 0     ? ExitCode::FAILED
                                                    : ExitCode::DONE;
}

/// Verifies and writes the reports. Sets `verification` if its results can be trusted.
ExitCode VerifyAndReport(const VerifyOptions& options, const Identity& identity,
                         std::optional<Verification>& verification) {
    const Reports reports(options);
    verification = Verify(options.GetVerification());
    const Results& results = verification->results;
    return std::max({CodeOf(results), reports.text.Write([&] { return verification->reportObject; }),
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

/// Reads the status file into the metrics. If that fails, prints the failure and returns NOT_CHECKED.
ExitCode AddStatus(const VerifyOptions& options, Metrics& metrics) {
    const bool isRead = options.statusFile.empty() ||
                        Attempt([&] { metrics.status = ReadPatchStatus(options.statusFile); }) == ExitCode::DONE;
    return isRead ? ExitCode::DONE : ExitCode::NOT_CHECKED;
}

void Print(const VerifyOptions& options, const Verification& verification) {
    if (options.json) {
        std::cout << verification.reportObject;
    } else {
        PrintTable(std::cout, verification.results, options.failuresOnly, SupportsColor(STDOUT_FILENO));
    }
}

/// Resolves symbolic links. The path and its last directories need not exist.
std::filesystem::path Resolve(const std::string& path) {
    std::error_code error;
    const std::filesystem::path absolute = std::filesystem::absolute(path, error);
    std::filesystem::path resolved = std::filesystem::weakly_canonical(absolute, error);
    return error ? absolute.lexically_normal() : resolved;
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

ExitCode RunVerify(const VerifyOptions& options) {
    CheckOptions(options);
    const ReportFile metricsFile(options.metricsFile);
    const auto start = std::chrono::steady_clock::now();
    Metrics metrics;
    metrics.identity = options.NamesSystem() ? ReadIdentity(Clock::now()) : Identity();
    std::optional<Verification> verification;
    metrics.exitCode = Attempt([&] { return VerifyAndReport(options, metrics.identity, verification); });
    metrics.exitCode = std::max(metrics.exitCode, AddStatus(options, metrics));
    metrics.duration = std::chrono::duration_cast<std::chrono::microseconds>(std::chrono::steady_clock::now() - start);
    metrics.results = verification ? &verification->results : nullptr;
    // Writes the metrics before the output, because the output fails if standard output is closed.
    const ExitCode written = metricsFile.Write([&metrics] { return RenderMetrics(metrics); });
    if (verification) {
        Print(options, *verification);
        (void)Attempt([&verification] { CheckConclusive(verification->results.files); });
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
                   "Verify that every file below /patch_qv/overlay is in place, and that apps are patched", RunVerify);
    AddFileOption(
        command, "--apps", options->appsFile,
        "Also verify these apps: {\"apps\": [{\"bundleName\": \"com.example.app\", \"versionCode\": 1000001}]}");
    auto* native = command->add_flag("--native", options->nativeOnly, "Verify the files only");
    command->add_flag("--app", options->appsOnly, "Verify the apps only")->excludes(native);
    auto* json = command->add_flag("--json", options->json, "Print the report object instead of the table");
    command->add_flag("--failures", options->failuresOnly, "Omit passed files and apps from the table")->excludes(json);
    AddFileOption(command, "--report", options->reportFile, "Write the report object to a file, atomically");
    AddFileOption(command, "--html", options->htmlFile, "Write the report as a self-contained HTML page, atomically");
    AddFileOption(command, "--junit", options->junitFile, "Write the report as JUnit XML, atomically");
    auto* metrics = AddFileOption(command, "--metrics", options->metricsFile,
                                  "Write metrics for Prometheus to a file, even if nothing could be verified");
    AddFileOption(command, "--status-file", options->statusFile, "Add the values of this status file to the metrics")
        ->needs(metrics);
    command->add_flag("--shell", options->usesShell,
                      "Read modes and labels through ls; refuse names that a shell would interpret or split");
    command->add_flag("-v,--verbose", options->verbose, "Show the library's records on standard error");
}

}  // namespace qfctl
