#include "report/report_object.h"

#include "failure.h"
#include "text/escape.h"

namespace qfctl {
namespace {

/// Returns the value of a file's entry in a fragment.
std::string EntryValue(const ItemResult& result) {
    if (result.differences.empty()) {
        return "true";
    }
    std::string live;
    std::string patch;
    for (const Difference& difference : result.differences) {
        // The same terminators as in TestManager.
        const char terminator = difference.check == "SeLinux" ? '.' : ',';
        live += difference.check + "=" + difference.live + terminator;
        patch += difference.check + "=" + difference.patch + terminator;
    }
    live.back() = '.';
    patch.back() = '.';
    return "false,source:" + live + "patch_qv:" + patch;
}

template <typename Escape>
std::string JoinEntries(const std::vector<ItemResult>& files, Escape escape) {
    std::string entries;
    for (const ItemResult& result : files) {
        entries += entries.empty() ? "" : ",";
        entries += '"' + escape(result.item) + "\": \"" + escape(EntryValue(result)) + '"';
    }
    return entries;
}

}  // namespace

std::string MakeReportObject(const std::string& fragments, const Results& results) {
    const std::string entries = JoinEntries(results.files, [](const std::string& text) { return text; });
    const size_t start = fragments.find(entries);
    if (start == std::string::npos) {
        throw Failure(ExitCode::NOT_CHECKED, "the report does not list the files that were verified");
    }
    std::string report = fragments;
    return "{" + report.replace(start, entries.size(), JoinEntries(results.files, EscapeJson)) + "}\n";
}

}  // namespace qfctl
