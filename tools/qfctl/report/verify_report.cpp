#include "report/verify_report.h"

#include <algorithm>
#include <optional>
#include <stdexcept>
#include <string_view>

#include "text/json_text.h"

namespace qfctl {
namespace {

constexpr const char* CHECKS[] = {"SHA256", "RWX", "SeLinux"};
constexpr std::string_view LIVE_MARK = "false,source:";
constexpr std::string_view PATCH_MARK = ".patch_qv:";

/// Takes "RWX=value," or the last "RWX=value" off the front of one side, if that check is there.
std::optional<std::string> TakeValue(std::string_view& side, const std::string& check) {
    const std::string label = check + "=";
    if (side.substr(0, label.size()) != label) {
        return std::nullopt;
    }
    side.remove_prefix(label.size());
    size_t end = side.size();
    for (const char* next : CHECKS) {
        end = std::min(end, side.find("," + std::string(next) + "="));
    }
    const std::string value(side.substr(0, end));
    side.remove_prefix(std::min(end + 1, side.size()));
    return value;
}

/// "false,source:RWX=a,SeLinux=b.patch_qv:RWX=c,SeLinux=d." taken apart.
std::vector<Difference> ReadDifferences(std::string_view reasons) {
    const size_t middle = reasons.find(PATCH_MARK);
    if (reasons.substr(0, LIVE_MARK.size()) != LIVE_MARK || middle == std::string_view::npos) {
        throw std::runtime_error("unknown entry in the report: " + std::string(reasons));
    }
    std::string_view live = reasons.substr(LIVE_MARK.size(), middle - LIVE_MARK.size());
    std::string_view patch = reasons.substr(middle + PATCH_MARK.size());
    patch.remove_suffix(patch.empty() ? 0 : 1);
    std::vector<Difference> differences;
    for (const char* check : CHECKS) {
        const auto liveValue = TakeValue(live, check);
        const auto patchValue = TakeValue(patch, check);
        if (liveValue && patchValue) {
            differences.push_back({check, *liveValue, *patchValue});
        }
    }
    return differences;
}

/// "false,miss,teklo.app.quickfix not exist,RunTimes Version=0,PatchPakage Version=1000001" taken apart.
std::vector<Difference> ReadAppDifferences(const std::string& reasons) {
    std::vector<Difference> differences;
    if ((reasons + ",").find(",miss,") != std::string::npos) {
        differences.push_back({"Installed", "", "yes"});
    }
    if (reasons.find(",teklo.app.quickfix not exist") != std::string::npos) {
        differences.push_back({"PatchFlag", "", "teklo.app.quickfix"});
    }
    const std::string liveLabel = "RunTimes Version=";
    const std::string patchLabel = ",PatchPakage Version=";
    const size_t live = reasons.find(liveLabel);
    const size_t patch = reasons.find(patchLabel);
    if (live != std::string::npos && patch != std::string::npos) {
        const size_t start = live + liveLabel.size();
        differences.push_back(
            {"Version", reasons.substr(start, patch - start), reasons.substr(patch + patchLabel.size())});
    }
    return differences;
}

template <typename Reader>
std::vector<VerifiedItem> ReadItems(const cJSON* run, Reader readDifferences) {
    std::vector<VerifiedItem> items;
    const cJSON* detail = cJSON_GetObjectItem(run, "detail");
    if (!cJSON_IsObject(detail)) {
        return items;
    }
    const cJSON* entry = nullptr;
    cJSON_ArrayForEach(entry, detail) {
        const std::string outcome = cJSON_IsString(entry) ? entry->valuestring : "";
        VerifiedItem item = {entry->string, outcome == "true", {}};
        if (!item.passed) {
            item.differences = readDifferences(outcome);
        }
        items.push_back(std::move(item));
    }
    return items;
}

}  // namespace

bool VerifyReport::Passed() const {
    return CountPassed(files) == files.size() && CountPassed(apps) == apps.size();
}

size_t CountPassed(const std::vector<VerifiedItem>& items) {
    return static_cast<size_t>(
        std::count_if(items.begin(), items.end(), [](const VerifiedItem& item) { return item.passed; }));
}

VerifyReport ReadReport(const std::string& report) {
    const Json root(cJSON_Parse(report.c_str()));
    if (!cJSON_IsObject(root.get())) {
        throw std::runtime_error("the report is no JSON object");
    }
    return {ReadItems(cJSON_GetObjectItem(root.get(), "Native"), ReadDifferences),
            ReadItems(cJSON_GetObjectItem(root.get(), "Qen"), ReadAppDifferences)};
}

}  // namespace qfctl
