#include "report/table.h"

#include <algorithm>
#include <cstring>
#include <string>

#include "text/escape.h"
#include "text/utf8.h"

namespace qfctl {
namespace {

constexpr size_t SHORT_DIGEST_LENGTH = 12;
constexpr size_t GAP = 2;

struct VerdictStyle {
    const char* text;
    const char* color;
};

VerdictStyle StyleOf(Verdict verdict) {
    switch (verdict) {
        case Verdict::PASSED:
            return {"pass", "\x1b[32m"};
        case Verdict::FAILED:
            return {"FAIL", "\x1b[31m"};
        case Verdict::INCONCLUSIVE:
            break;
    }
    return {"inconclusive", "\x1b[33m"};
}

std::string Padded(const std::string& text, size_t width) {
    const size_t used = GetWidth(text);
    return text + std::string(used < width ? width - used : 1, ' ');
}

struct Widths {
    size_t name;
    size_t verdict = sizeof("VERDICT") - 1 + GAP;
    size_t check = sizeof("CHECK") - 1 + GAP;
    size_t value = sizeof("LIVE") - 1 + GAP;
};

Widths Measure(const std::vector<ItemResult>& results, const std::string& nameTitle) {
    Widths widths = {nameTitle.size() + GAP};
    for (const ItemResult& result : results) {
        widths.name = std::max(widths.name, GetWidth(QuoteIfUnprintable(result.item)) + GAP);
        widths.verdict = std::max(widths.verdict, strlen(StyleOf(result.verdict).text) + GAP);
        for (const Difference& difference : result.differences) {
            widths.check = std::max(widths.check, difference.check.size() + GAP);
            widths.value = std::max(widths.value, GetWidth(ShownValue(difference, difference.live)) + GAP);
        }
    }
    return widths;
}

void PrintItem(std::ostream& out, const ItemResult& result, const Widths& widths, bool hasColor) {
    const VerdictStyle style = StyleOf(result.verdict);
    out << (hasColor ? style.color : "") << Padded(style.text, widths.verdict) << (hasColor ? "\x1b[0m" : "");
    if (result.differences.empty()) {
        out << QuoteIfUnprintable(result.item) << "\n";
        return;
    }
    std::string lead = Padded(QuoteIfUnprintable(result.item), widths.name);
    for (const Difference& difference : result.differences) {
        out << lead << Padded(difference.check, widths.check)
            << Padded(ShownValue(difference, difference.live), widths.value) << ShownValue(difference, difference.patch)
            << "\n";
        lead = std::string(widths.verdict + widths.name, ' ');
    }
}

std::vector<ItemResult> RemovePassed(std::vector<ItemResult> results) {
    const auto hasPassed = [](const ItemResult& result) { return result.verdict == Verdict::PASSED; };
    results.erase(std::remove_if(results.begin(), results.end(), hasPassed), results.end());
    return results;
}

void PrintItems(std::ostream& out, const std::vector<ItemResult>& results, const std::string& nameTitle,
                bool hasColor) {
    if (results.empty()) {
        return;
    }
    const Widths widths = Measure(results, nameTitle);
    out << Padded("VERDICT", widths.verdict) << Padded(nameTitle, widths.name) << Padded("CHECK", widths.check)
        << Padded("LIVE", widths.value) << "PATCH\n";
    for (const ItemResult& result : results) {
        PrintItem(out, result, widths, hasColor);
    }
    out << "\n";
}

void PrintTotals(std::ostream& out, const std::vector<ItemResult>& results, const std::string& noun) {
    if (results.empty()) {
        return;
    }
    const size_t inconclusive = Count(results, Verdict::INCONCLUSIVE);
    out << std::to_string(results.size()) << " " << noun << (results.size() == 1 ? ": " : "s: ")
        << std::to_string(Count(results, Verdict::PASSED)) << " passed, "
        << std::to_string(Count(results, Verdict::FAILED)) << " failed"
        << (inconclusive > 0 ? ", " + std::to_string(inconclusive) + " inconclusive" : "") << "\n";
}

}  // namespace

std::string WholeValue(const Difference& difference, const std::string& value) {
    if (value.empty()) {
        return difference.isInconclusive ? "(unreadable)" : "(none)";
    }
    return QuoteIfUnprintable(value);
}

std::string ShownValue(const Difference& difference, const std::string& value) {
    if (difference.check == "SHA256" && value.size() > SHORT_DIGEST_LENGTH) {
        return value.substr(0, SHORT_DIGEST_LENGTH) + "...";
    }
    return WholeValue(difference, value);
}

void PrintTable(std::ostream& out, const Results& results, bool failuresOnly, bool hasColor) {
    PrintItems(out, failuresOnly ? RemovePassed(results.files) : results.files, "LIVE PATH", hasColor);
    PrintTotals(out, results.files, "file");
    if (!results.files.empty() && !results.apps.empty()) {
        out << "\n";
    }
    PrintItems(out, failuresOnly ? RemovePassed(results.apps) : results.apps, "BUNDLE", hasColor);
    PrintTotals(out, results.apps, "app");
}

}  // namespace qfctl
