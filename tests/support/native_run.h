#pragma once

#include "support/test.h"
#include "test_manager.h"

/// Returns "/b failed RWX LIVE PATCH", with "RWX?" if a value could not be read.
inline std::string Summary(const ItemResult& result) {
    constexpr const char* VERDICTS[] = {" passed", " failed", " inconclusive"};
    std::string summary = result.item + VERDICTS[static_cast<int>(result.verdict)];
    for (const auto& difference : result.differences) {
        const char* mark = difference.isInconclusive ? "? " : " ";
        summary += " " + difference.check + mark + difference.live + " " + difference.patch;
    }
    return summary;
}

/// The items, the report, the records and the inconclusive count of a native run.
struct NativeRun {
    explicit NativeRun(Inspection inspection) {
        Logger().RemoveLog();
        PlumeCapture capture(QuickFixPlumeLevel::DEBUG);
        TestManager manager;
        manager.SetInspection(inspection);
        manager.SetItemListener([this](const ItemResult& result) { items.push_back(Summary(result)); });
        reportAndLogs = manager.CheckNativePatch() + "\n";
        inconclusive = manager.GetInconclusiveCount();
        for (const std::string& record : capture.TakeRaw()) {
            reportAndLogs += record + "\n";
        }
        reportAndLogs += ReadLog(FIRST_LOG) + ReadLog(SECOND_LOG);
    }

    Records items;
    std::string reportAndLogs;
    uint64_t inconclusive = 0;
};
