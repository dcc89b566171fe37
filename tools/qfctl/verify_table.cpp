#include "verify_table.h"

#include <algorithm>
#include <string>

#include "escape.h"

namespace {

constexpr size_t SHORT_DIGEST_LENGTH = 12;
constexpr size_t VERDICT_WIDTH = 9;
constexpr size_t CHECK_WIDTH = 9;
constexpr size_t VALUE_GAP = 2;

std::string Padded(const std::string& text, size_t width) {
    return text + std::string(text.size() < width ? width - text.size() : 1, ' ');
}

std::string Shown(const std::string& check, const std::string& value) {
    if (value.empty()) {
        return "(none)";
    }
    if (check == "SHA256" && value.size() > SHORT_DIGEST_LENGTH) {
        return value.substr(0, SHORT_DIGEST_LENGTH) + "...";
    }
    return Printable(value);
}

struct Widths {
    size_t name = sizeof("LIVE PATH") - 1 + VALUE_GAP;
    size_t value = sizeof("LIVE") - 1 + VALUE_GAP;
};

Widths Measure(const std::vector<VerifiedItem>& items) {
    Widths widths;
    for (const VerifiedItem& item : items) {
        widths.name = std::max(widths.name, item.name.size() + VALUE_GAP);
        for (const Difference& difference : item.differences) {
            widths.value = std::max(widths.value, Shown(difference.check, difference.live).size() + VALUE_GAP);
        }
    }
    return widths;
}

void PrintItem(std::ostream& out, const VerifiedItem& item, const Widths& widths, bool colour) {
    const char* start = !colour ? "" : item.passed ? "\x1b[32m" : "\x1b[31m";
    out << start << Padded(item.passed ? "pass" : "FAIL", VERDICT_WIDTH) << (colour ? "\x1b[0m" : "");
    if (item.differences.empty()) {
        out << item.name << "\n";
        return;
    }
    std::string lead = Padded(item.name, widths.name);
    for (const Difference& difference : item.differences) {
        out << lead << Padded(difference.check, CHECK_WIDTH)
            << Padded(Shown(difference.check, difference.live), widths.value)
            << Shown(difference.check, difference.patch) << "\n";
        lead = std::string(VERDICT_WIDTH + widths.name, ' ');
    }
}

}  // namespace

void PrintTable(std::ostream& out, const std::vector<VerifiedItem>& items, bool colour) {
    const Widths widths = Measure(items);
    out << Padded("VERDICT", VERDICT_WIDTH) << Padded("LIVE PATH", widths.name) << Padded("CHECK", CHECK_WIDTH)
        << Padded("LIVE", widths.value) << "PATCH\n";
    for (const VerifiedItem& item : items) {
        PrintItem(out, item, widths, colour);
    }
    const auto passed = std::count_if(items.begin(), items.end(), [](const VerifiedItem& item) { return item.passed; });
    const auto total = static_cast<std::ptrdiff_t>(items.size());
    out << "\n"
        << total << (total == 1 ? " file: " : " files: ") << passed << " passed, " << total - passed << " failed\n";
}
