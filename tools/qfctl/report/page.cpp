#include "report/page.h"

#include <algorithm>
#include <map>
#include <string_view>

#include "report/page/page_template.h"
#include "text/escape.h"

namespace qfctl {
namespace {

bool IsInsideCharacter(char byte) {
    return (byte & '\xc0') == '\x80';
}

/// Marks the part of `value` that differs from the other value: all except their common prefix and suffix.
std::string HighlightDifference(const std::string& value, const std::string& other) {
    const size_t shorter = std::min(value.size(), other.size());
    size_t start = static_cast<size_t>(
        std::mismatch(value.begin(), value.begin() + static_cast<std::ptrdiff_t>(shorter), other.begin()).first -
        value.begin());
    while (start > 0 && start < value.size() && IsInsideCharacter(value[start])) {
        --start;
    }
    size_t end = 0;
    while (end < shorter - std::min(start, shorter) && value[value.size() - 1 - end] == other[other.size() - 1 - end]) {
        ++end;
    }
    while (end > 0 && IsInsideCharacter(value[value.size() - end])) {
        --end;
    }
    const std::string middle = value.substr(start, value.size() - start - end);
    return EscapeMarkup(value.substr(0, start)) + (middle.empty() ? "" : "<mark>" + EscapeMarkup(middle) + "</mark>") +
           EscapeMarkup(value.substr(value.size() - end));
}

std::string Cell(const char* side, const std::string& value, const std::string& other, bool isInconclusive) {
    const std::string placeholder = isInconclusive ? "unreadable" : "none";
    return std::string("<td data-side=\"") + side + "\">" +
           (value.empty() ? "<span class=\"none\">" + placeholder + "</span>"
                          : HighlightDifference(QuoteIfUnprintable(value), QuoteIfUnprintable(other))) +
           "</td>";
}

std::string RenderItem(const ItemResult& result) {
    const std::string verdict = ToText(result.verdict);
    std::string html = "<div class=\"item " + verdict + "\"><span class=\"verdict\">" + verdict +
                       "</span><span class=\"name\">" + EscapeMarkup(QuoteIfUnprintable(result.item)) + "</span>";
    if (!result.differences.empty()) {
        html += "<table><thead><tr><th>Check</th><th>Live</th><th>Patch</th></tr></thead><tbody>";
        for (const Difference& difference : result.differences) {
            html += "<tr><th>" + EscapeMarkup(difference.check) + "</th>" +
                    Cell("live", difference.live, difference.patch, difference.isInconclusive) +
                    Cell("patch", difference.patch, difference.live, difference.isInconclusive) + "</tr>";
        }
        html += "</tbody></table>";
    }
    return html + "</div>\n";
}

/// Renders the items of both runs that have this verdict.
std::string RenderVerdict(const Results& results, Verdict verdict) {
    std::string html;
    for (const auto* run : {&results.files, &results.apps}) {
        for (const ItemResult& result : *run) {
            html += result.verdict == verdict ? RenderItem(result) : "";
        }
    }
    std::string title = ToText(verdict);
    title[0] = static_cast<char>(title[0] + 'A' - 'a');
    return html.empty() ? "" : "<section><h2>" + title + "</h2>\n" + html + "</section>\n";
}

std::string RunSummary(const char* title, const std::vector<ItemResult>& results) {
    return results.empty() ? ""
                           : std::string("<p>") + title + ": " + std::to_string(Count(results, Verdict::PASSED)) +
                                 " of " + std::to_string(results.size()) + " passed</p>\n";
}

std::string RenderIdentity(const Identity& identity) {
    std::string html;
    for (const auto& [name, value] : Describe(identity)) {
        html += std::string("<div><dt>") + name + "</dt><dd>" + EscapeMarkup(QuoteIfUnprintable(value)) + "</dd></div>";
    }
    return html;
}

std::string Total(const char* name, size_t count) {
    return std::string("<li class=\"") + name + "\"><b>" + std::to_string(count) + "</b>" + name + "</li>";
}

std::string RenderBarPart(const char* name, size_t count) {
    return std::string("<div class=\"") + name + "\" style=\"flex:" + std::to_string(count) + "\"></div>";
}

/// Replaces each "{{name}}" with its value. Values are not expanded again.
std::string FillTemplate(std::string_view text, const std::map<std::string_view, std::string>& values) {
    std::string filled;
    while (true) {
        const size_t start = text.find("{{");
        const size_t end = text.find("}}", start);
        filled += text.substr(0, start);
        if (end == std::string_view::npos) {
            return filled;
        }
        filled += values.at(text.substr(start + 2, end - start - 2));
        text.remove_prefix(end + 2);
    }
}

}  // namespace

std::string RenderHtml(const Results& results, const Identity& identity) {
    std::string counts;
    std::string totals = Total("checked", results.files.size() + results.apps.size());
    std::string bar;
    std::string items;
    for (const Verdict verdict : {Verdict::PASSED, Verdict::FAILED, Verdict::INCONCLUSIVE}) {
        const size_t count = results.Count(verdict);
        if (count > 0 || verdict != Verdict::INCONCLUSIVE) {
            counts += (counts.empty() ? "" : ", ") + std::to_string(count) + " " + ToText(verdict);
            totals += Total(ToText(verdict), count);
            bar += RenderBarPart(ToText(verdict), count);
        }
    }
    for (const Verdict verdict : VERDICTS) {
        items += RenderVerdict(results, verdict);
    }
    return FillTemplate(PAGE_TEMPLATE,
                        {{"counts", counts},
                         {"identity", RenderIdentity(identity)},
                         {"totals", totals},
                         {"runs", RunSummary("Native files", results.files) + RunSummary("Apps", results.apps)},
                         {"bar", bar},
                         {"items", items}});
}

}  // namespace qfctl
