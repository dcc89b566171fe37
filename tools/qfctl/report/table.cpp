#include "report/table.h"

#include <algorithm>
#include <string>

#include "text/escape.h"
#include "text/utf8.h"

namespace qfctl {
namespace {

constexpr size_t SHORT_DIGEST_LENGTH = 12;
constexpr size_t VERDICT_WIDTH = 9;
constexpr size_t VALUE_GAP = 2;

std::string Padded(const std::string& text, size_t width) {
    const size_t used = GetWidth(text);
    return text + std::string(used < width ? width - used : 1, ' ');
}

struct Widths {
    size_t name;
    size_t check = sizeof("CHECK") - 1 + VALUE_GAP;
    size_t value = sizeof("LIVE") - 1 + VALUE_GAP;
};

Widths Measure(const std::vector<ItemResult>& results, const std::string& nameTitle) {
    Widths widths = {nameTitle.size() + VALUE_GAP};
    for (const ItemResult& result : results) {
        widths.name = std::max(widths.name, GetWidth(QuoteIfUnprintable(result.item)) + VALUE_GAP);
        for (const Difference& difference : result.differences) {
            widths.check = std::max(widths.check, difference.check.size() + VALUE_GAP);
            widths.value = std::max(widths.value, GetWidth(ShownValue(difference.check, difference.live)) + VALUE_GAP);
        }
    }
    return widths;
}

void PrintItem(std::ostream& out, const ItemResult& result, const Widths& widths, bool hasColor) {
    const char* start = !hasColor ? "" : IsPassed(result) ? "\x1b[32m" : "\x1b[31m";
    out << start << Padded(IsPassed(result) ? "pass" : "FAIL", VERDICT_WIDTH) << (hasColor ? "\x1b[0m" : "");
    if (result.differences.empty()) {
        out << QuoteIfUnprintable(result.item) << "\n";
        return;
    }
    std::string lead = Padded(QuoteIfUnprintable(result.item), widths.name);
    for (const Difference& difference : result.differences) {
        out << lead << Padded(difference.check, widths.check)
            << Padded(ShownValue(difference.check, difference.live), widths.value)
            << ShownValue(difference.check, difference.patch) << "\n";
        lead = std::string(VERDICT_WIDTH + widths.name, ' ');
    }
}

void PrintRun(std::ostream& out, const std::vector<ItemResult>& results, const std::string& nameTitle,
              const std::string& noun, bool hasColor) {
    if (results.empty()) {
        return;
    }
    const Widths widths = Measure(results, nameTitle);
    out << Padded("VERDICT", VERDICT_WIDTH) << Padded(nameTitle, widths.name) << Padded("CHECK", widths.check)
        << Padded("LIVE", widths.value) << "PATCH\n";
    for (const ItemResult& result : results) {
        PrintItem(out, result, widths, hasColor);
    }
    const size_t passed = CountPassed(results);
    out << "\n"
        << std::to_string(results.size()) << " " << noun << (results.size() == 1 ? ": " : "s: ")
        << std::to_string(passed) << " passed, " << std::to_string(results.size() - passed) << " failed\n";
}

}  // namespace

std::string ShownValue(const std::string& check, const std::string& value) {
    if (value.empty()) {
        return "(none)";
    }
    if (check == "SHA256" && value.size() > SHORT_DIGEST_LENGTH) {
        return value.substr(0, SHORT_DIGEST_LENGTH) + "...";
    }
    return QuoteIfUnprintable(value);
}

void PrintTable(std::ostream& out, const Results& results, bool hasColor) {
    PrintRun(out, results.files, "LIVE PATH", "file", hasColor);
    if (!results.files.empty() && !results.apps.empty()) {
        out << "\n";
    }
    PrintRun(out, results.apps, "BUNDLE", "app", hasColor);
}

}  // namespace qfctl
