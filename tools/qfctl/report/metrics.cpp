#include "report/metrics.h"

#include <cstdio>
#include <utility>
#include <vector>

#include "text/escape.h"

namespace qfctl {
namespace {

using Labels = std::vector<std::pair<const char*, std::string>>;

/// Converts a label value to valid UTF-8 and escapes special characters.
std::string EscapeLabel(const std::string& value) {
    std::string escaped;
    for (const char character : QuoteIfUnprintable(value)) {
        escaped += character == '"' || character == '\\' ? std::string("\\") + character : std::string(1, character);
    }
    return escaped;
}

std::string Header(const std::string& name, const char* help) {
    return "# HELP " + name + " " + help + "\n# TYPE " + name + " gauge\n";
}

std::string Sample(const std::string& name, const Labels& labels, const std::string& value) {
    std::string text;
    for (const auto& [label, labelValue] : labels) {
        text += std::string(text.empty() ? "{" : ",") + label + "=\"" + EscapeLabel(labelValue) + "\"";
    }
    return name + text + (text.empty() ? " " : "} ") + value + "\n";
}

std::string Metric(const std::string& name, const char* help, const std::string& value, const Labels& labels = {}) {
    return Header(name, help) + Sample(name, labels, value);
}

std::string FormatSeconds(std::chrono::microseconds time) {
    char text[32] = {};
    (void)snprintf(text, sizeof(text), "%lld.%06lld", static_cast<long long>(time.count() / 1000000),
                   static_cast<long long>(time.count() % 1000000));
    return text;
}

std::string ItemSamples(const std::string& name, const char* run, const std::vector<ItemResult>& results) {
    std::string text;
    for (const Verdict verdict : VERDICTS) {
        text += results.empty() ? ""
                                : Sample(name, {{"run", run}, {"verdict", ToText(verdict)}},
                                         std::to_string(Count(results, verdict)));
    }
    return text;
}

std::string RenderResults(const Results& results) {
    const std::string name = "quickfix_verify_items";
    return Header(name, "Files (run native) or apps (run app) by the verdict of the last run.") +
           ItemSamples(name, "native", results.files) + ItemSamples(name, "app", results.apps);
}

std::string RenderStatus(const PatchStatus& status) {
    std::string text = Metric("quickfix_verify_patch_info", "Version and status in the status file.", "1",
                              {{"patch_version", status.version}, {"status", status.status}}) +
                       Metric("quickfix_verify_patch_error_codes", "Number of error codes in the status file.",
                              std::to_string(status.errorCodes.size()));
    const std::string name = "quickfix_verify_patch_error_code";
    text += status.errorCodes.empty() ? "" : Header(name, "1 for each error code in the status file.");
    for (const int32_t code : status.errorCodes) {
        text += Sample(name, {{"code", std::to_string(code)}}, "1");
    }
    return text;
}

}  // namespace

std::string RenderMetrics(const Metrics& metrics) {
    const Identity& identity = metrics.identity;
    return Metric("quickfix_verify_info", "The system that was verified, and the version of qfctl.", "1",
                  {{"host", identity.host},
                   {"base_version", identity.baseVersion},
                   {"stage", identity.stage},
                   {"kernel", identity.kernel},
                   {"version", identity.version}}) +
           Metric("quickfix_verify_last_run_timestamp_seconds", "Unix time at which the last run began.",
                  std::to_string(Clock::to_time_t(identity.start))) +
           Metric("quickfix_verify_duration_seconds", "Duration of the last run.", FormatSeconds(metrics.duration)) +
           Metric("quickfix_verify_exit_code",
                  "Exit code of the last run: 0 all passed, 1 a check failed, 2 bad list of apps, 3 not verified.",
                  std::to_string(static_cast<int>(metrics.exitCode))) +
           (metrics.results ? RenderResults(*metrics.results) : "") +
           (metrics.status ? RenderStatus(*metrics.status) : "");
}

}  // namespace qfctl
