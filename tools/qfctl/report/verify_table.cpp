#include "report/verify_table.h"

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
    const size_t used = CountCharacters(text);
    return text + std::string(used < width ? width - used : 1, ' ');
}

struct Widths {
    size_t name;
    size_t check = sizeof("CHECK") - 1 + VALUE_GAP;
    size_t value = sizeof("LIVE") - 1 + VALUE_GAP;
};

Widths Measure(const std::vector<VerifiedItem>& items, const std::string& nameTitle) {
    Widths widths = {nameTitle.size() + VALUE_GAP};
    for (const VerifiedItem& item : items) {
        widths.name = std::max(widths.name, CountCharacters(QuoteIfUnprintable(item.name)) + VALUE_GAP);
        for (const Difference& difference : item.differences) {
            widths.check = std::max(widths.check, difference.check.size() + VALUE_GAP);
            widths.value =
                std::max(widths.value, CountCharacters(ShownValue(difference.check, difference.live)) + VALUE_GAP);
        }
    }
    return widths;
}

void PrintItem(std::ostream& out, const VerifiedItem& item, const Widths& widths, bool colour) {
    const char* start = !colour ? "" : item.passed ? "\x1b[32m" : "\x1b[31m";
    out << start << Padded(item.passed ? "pass" : "FAIL", VERDICT_WIDTH) << (colour ? "\x1b[0m" : "");
    if (item.differences.empty()) {
        out << QuoteIfUnprintable(item.name) << "\n";
        return;
    }
    std::string lead = Padded(QuoteIfUnprintable(item.name), widths.name);
    for (const Difference& difference : item.differences) {
        out << lead << Padded(difference.check, widths.check)
            << Padded(ShownValue(difference.check, difference.live), widths.value)
            << ShownValue(difference.check, difference.patch) << "\n";
        lead = std::string(VERDICT_WIDTH + widths.name, ' ');
    }
}

void PrintRun(std::ostream& out, const std::vector<VerifiedItem>& items, const std::string& nameTitle,
              const std::string& noun, bool colour) {
    if (items.empty()) {
        return;
    }
    const Widths widths = Measure(items, nameTitle);
    out << Padded("VERDICT", VERDICT_WIDTH) << Padded(nameTitle, widths.name) << Padded("CHECK", widths.check)
        << Padded("LIVE", widths.value) << "PATCH\n";
    for (const VerifiedItem& item : items) {
        PrintItem(out, item, widths, colour);
    }
    const size_t passed = CountPassed(items);
    out << "\n"
        << std::to_string(items.size()) << " " << noun << (items.size() == 1 ? ": " : "s: ") << std::to_string(passed)
        << " passed, " << std::to_string(items.size() - passed) << " failed\n";
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

void PrintTable(std::ostream& out, const VerifyReport& report, bool colour) {
    PrintRun(out, report.files, "LIVE PATH", "file", colour);
    if (!report.files.empty() && !report.apps.empty()) {
        out << "\n";
    }
    PrintRun(out, report.apps, "BUNDLE", "app", colour);
}

}  // namespace qfctl
