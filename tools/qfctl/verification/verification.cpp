#include "verification/verification.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <iterator>
#include <optional>
#include <utility>

#include "failure.h"
#include "input/app_list.h"
#include "quick_fix_plume_wrapper.h"
#include "report/progress_line.h"
#include "report/report_object.h"
#include "system/scoped_stderr_to_null.h"
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

struct CheckOutput {
    std::string fragments;  // of the requested runs, joined
    Results results;
    uint64_t inconclusive = 0;
};

CheckOutput RunChecks(const VerificationOptions& options, const std::vector<App>& apps, ProgressLine& progress) {
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
    if (options.includesFiles) {
        output.fragments = manager.CheckNativePatch();
        output.inconclusive = manager.GetInconclusiveCount();
    }
    if (options.appsFile.empty()) {
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

CheckOutput RunQuietly(const VerificationOptions& options, const std::vector<App>& apps, size_t total) {
    ProgressLine progress(total);
    const ScopedStderrToNull quiet;
    return RunChecks(options, apps, progress);
}

CheckOutput RunVerbosely(const VerificationOptions& options, const std::vector<App>& apps) {
    setenv("QUICKFIX_LOG", "stderr", 1);
    QuickFixPlumeWrapper::level_ = QuickFixPlumeLevel::DEBUG;
    ProgressLine none;
    return RunChecks(options, apps, none);
}

std::vector<std::string> SortedNames(const std::vector<ItemResult>& results) {
    std::vector<std::string> names;
    std::transform(results.begin(), results.end(), std::back_inserter(names),
                   [](const ItemResult& result) { return result.item; });
    std::sort(names.begin(), names.end());
    return names;
}

/// Throws Failure if the results of a run can't be trusted.
void CheckResults(const VerificationOptions& options, const CheckOutput& output, std::vector<std::string> scanned,
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
        throw Failure(ExitCode::NOT_CHECKED, "inconclusive comparisons: " + std::to_string(output.inconclusive));
    }
}

/// Returns the reasons why a live file and its patch file could not be compared.
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

/// Returns the files of a run through the shell; without such a run, an empty list. Throws Failure if a requested run
/// is not possible.
std::vector<std::string> Prepare(const VerificationOptions& options, const std::vector<App>& apps) {
    return WithContext("nothing was verified: ", [&] {
        std::vector<std::string> files;
        if (options.includesFiles && options.usesShell) {
            files = PrepareShellRun(PATCH_OVERLAY_PATH);
        }
        if (!options.appsFile.empty()) {
            CheckAppPreconditions(apps);
        }
        return files;
    });
}

}  // namespace

Verification Verify(const VerificationOptions& options) {
    const std::vector<App> apps = options.appsFile.empty() ? std::vector<App>() : ReadApps(options.appsFile);
    setenv("LC_ALL", "C", 1);  // in a UTF-8 locale, grep treats invalid UTF-8 as a binary file
    std::vector<std::string> files = Prepare(options, apps);
    // The number of files in a direct run is known only after the run.
    const size_t total = options.includesFiles && !options.usesShell ? 0 : files.size() + apps.size();
    CheckOutput output = options.showsRecords ? RunVerbosely(options, apps) : RunQuietly(options, apps, total);
    if (options.includesFiles && !options.usesShell) {
        files = ListFiles(PATCH_OVERLAY_PATH);
    }
    CheckResults(options, output, files, apps);
    std::string reportObject = MakeReportObject(output.fragments, output.results);
    return {std::move(output.results), std::move(reportObject)};
}

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

}  // namespace qfctl
