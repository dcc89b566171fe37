#include "verify_report.h"

#include <algorithm>
#include <optional>
#include <stdexcept>
#include <string_view>

#include "json_text.h"

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

}  // namespace

std::vector<VerifiedItem> ReadReport(const std::string& report) {
    const Json root(cJSON_Parse(report.c_str()));
    const cJSON* detail = cJSON_GetObjectItem(cJSON_GetObjectItem(root.get(), "Native"), "detail");
    if (!cJSON_IsObject(detail)) {
        throw std::runtime_error("the report has no details");
    }
    std::vector<VerifiedItem> items;
    const cJSON* entry = nullptr;
    cJSON_ArrayForEach(entry, detail) {
        const std::string outcome = cJSON_IsString(entry) ? entry->valuestring : "";
        VerifiedItem item = {entry->string, outcome == "true", {}};
        if (!item.passed) {
            item.differences = ReadDifferences(outcome);
        }
        items.push_back(std::move(item));
    }
    return items;
}
