#include "html_report.h"

#include <algorithm>
#include <ctime>

#include "escape.h"

namespace {

constexpr char STYLE[] = R"(
:root { color-scheme: light dark; --ink: #1c1f23; --soft: #5b636d; --paper: #fff; --card: #f4f5f7; --line: #d9dde2;
  --good: #1a7f37; --bad: #c4261d; --mark: #ffd8d4; }
@media (prefers-color-scheme: dark) { :root { --ink: #e6e9ed; --soft: #9aa4af; --paper: #14171a; --card: #1e2226;
  --line: #363c43; --good: #3fb950; --bad: #ff7b72; --mark: #6e2b27; } }
* { box-sizing: border-box; }
body { margin: 0 auto; padding: 1.5rem; max-width: 72rem; background: var(--paper); color: var(--ink);
  font: 16px/1.5 system-ui, sans-serif; }
h1 { font-size: 1.5rem; margin: 0; } h2 { font-size: 1.1rem; margin: 2rem 0 .5rem; } p { margin: .25rem 0; color: var(--soft); }
.totals { display: flex; flex-wrap: wrap; gap: .75rem; margin: 1rem 0; padding: 0; list-style: none; }
.totals li { background: var(--card); border-radius: .5rem; padding: .5rem 1rem; min-width: 7rem; color: var(--soft); }
.totals b { display: block; font-size: 1.75rem; line-height: 1.2; color: var(--ink); }
.totals .failed b { color: var(--bad); } .totals .passed b { color: var(--good); }
.bar { display: flex; margin-top: 1rem; height: .75rem; border-radius: .375rem; overflow: hidden; background: var(--card); }
.bar .passed { background: var(--good); } .bar .failed { background: var(--bad); }
.filter { position: sticky; top: 0; display: flex; gap: 1rem; align-items: center; flex-wrap: wrap; padding: 1rem 0;
  background: var(--paper); }
.filter input[type=search] { flex: 1 1 12rem; font: inherit; color: inherit; padding: .4rem .75rem;
  background: var(--paper); border: 1px solid var(--line); border-radius: .375rem; }
.item { border: 1px solid var(--line); border-radius: .5rem; margin: .5rem 0; padding: .5rem .75rem; }
.item.failed { border-left: .3rem solid var(--bad); } .item.passed { border-left: .3rem solid var(--good); }
.item[hidden] { display: none; }
.name { font-family: ui-monospace, monospace; font-size: .9rem; overflow-wrap: anywhere; }
.verdict { float: right; margin-left: 1rem; font-weight: 600; }
.failed .verdict { color: var(--bad); } .passed .verdict { color: var(--good); }
table { width: 100%; table-layout: fixed; border-collapse: collapse; margin: .5rem 0 .25rem; font-size: .85rem; }
th { text-align: left; font-weight: 600; color: var(--soft); } th:first-child { width: 7rem; }
td, th { padding: .2rem .75rem .2rem 0; vertical-align: top; border-top: 1px solid var(--line); }
td { font-family: ui-monospace, monospace; overflow-wrap: anywhere; } thead th { border: 0; }
mark { background: var(--mark); color: inherit; border-radius: .15rem; } .none { color: var(--soft); font-style: italic; }
@media (max-width: 600px) { body { padding: 1rem; } .totals { gap: .5rem; } .totals li { flex: 1 1 25%; min-width: 5rem; padding: .5rem .75rem; } thead { display: none; }
  tr, td, th, th:first-child { display: block; width: auto; border: 0; padding: 0; } tr { border-top: 1px solid var(--line); padding: .35rem 0; }
  td::before { content: attr(data-side); display: inline-block; width: 3.5rem; font-family: system-ui, sans-serif;
  color: var(--soft); } }
@media print { .filter { display: none; } .item { break-inside: avoid; } body { max-width: none; padding: 0; }
  .bar, .bar *, mark { print-color-adjust: exact; -webkit-print-color-adjust: exact; } }
)";

constexpr char SCRIPT[] = R"(
const text = document.getElementById('text'), failures = document.getElementById('failures');
const items = [...document.querySelectorAll('.item')], shown = document.getElementById('shown');
function apply() {
  const wanted = text.value.toLowerCase();
  let count = 0;
  for (const item of items) {
    const texts = [...item.querySelectorAll('.name, td')];
    item.hidden = !texts.some(text => text.textContent.toLowerCase().includes(wanted)) ||
      (failures.checked && item.classList.contains('passed'));
    count += item.hidden ? 0 : 1;
  }
  shown.textContent = count + ' of ' + items.length + ' shown';
}
const carried = new URLSearchParams(location.hash.slice(1));
text.value = carried.get('filter') || '';
text.addEventListener('input', apply);
failures.addEventListener('change', apply);
apply();
)";

std::string Escaped(const std::string& text) {
    std::string html;
    for (const char character : text) {
        switch (character) {
            case '&':
                html += "&amp;";
                break;
            case '<':
                html += "&lt;";
                break;
            case '>':
                html += "&gt;";
                break;
            case '"':
                html += "&quot;";
                break;
            case '\'':
                html += "&#39;";
                break;
            default:
                html += character;
        }
    }
    return html;
}

bool IsInsideCharacter(char byte) {
    return (byte & '\xc0') == '\x80';
}

/// The value with what the other one has not marked: between the beginning and the end that both share.
std::string Marked(const std::string& value, const std::string& other) {
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
    return Escaped(value.substr(0, start)) + (middle.empty() ? "" : "<mark>" + Escaped(middle) + "</mark>") +
           Escaped(value.substr(value.size() - end));
}

std::string Cell(const char* side, const std::string& value, const std::string& other) {
    return std::string("<td data-side=\"") + side + "\">" +
           (value.empty() ? "<span class=\"none\">none</span>" : Marked(Printable(value), Printable(other))) + "</td>";
}

std::string RenderItem(const VerifiedItem& item) {
    const std::string verdict = item.passed ? "passed" : "failed";
    std::string html = "<div class=\"item " + verdict + "\"><span class=\"verdict\">" + verdict +
                       "</span><span class=\"name\">" + Escaped(Printable(item.name)) + "</span>";
    if (!item.differences.empty()) {
        html += "<table><thead><tr><th>Check</th><th>Live</th><th>Patch</th></tr></thead><tbody>";
        for (const Difference& difference : item.differences) {
            html += "<tr><th>" + Escaped(difference.check) + "</th>" + Cell("live", difference.live, difference.patch) +
                    Cell("patch", difference.patch, difference.live) + "</tr>";
        }
        html += "</tbody></table>";
    }
    return html + "</div>\n";
}

/// The items of both runs with this outcome.
std::string RenderOutcome(const char* title, const VerifyReport& report, bool passed) {
    std::string html;
    for (const auto* items : {&report.files, &report.apps}) {
        for (const VerifiedItem& item : *items) {
            html += item.passed == passed ? RenderItem(item) : "";
        }
    }
    return html.empty() ? "" : std::string("<section><h2>") + title + "</h2>\n" + html + "</section>\n";
}

std::string RunSummary(const char* title, const std::vector<VerifiedItem>& items) {
    return items.empty() ? ""
                         : std::string("<p>") + title + ": " + std::to_string(CountPassed(items)) + " of " +
                               std::to_string(items.size()) + " passed</p>\n";
}

std::string Now() {
    const std::time_t now = std::time(nullptr);
    std::tm local = {};
    localtime_r(&now, &local);
    char text[64] = {};
    (void)strftime(text, sizeof(text), "%Y-%m-%d %H:%M:%S %z", &local);
    return text;
}

std::string Total(const char* name, size_t count) {
    return std::string("<li class=\"") + name + "\"><b>" + std::to_string(count) + "</b>" + name + "</li>";
}

std::string BarPart(const char* name, size_t count) {
    return std::string("<div class=\"") + name + "\" style=\"flex:" + std::to_string(count) + "\"></div>";
}

}  // namespace

std::string RenderHtml(const VerifyReport& report) {
    const size_t total = report.files.size() + report.apps.size();
    const size_t passed = CountPassed(report.files) + CountPassed(report.apps);
    const std::string counts = std::to_string(passed) + " passed, " + std::to_string(total - passed) + " failed";
    return "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
           "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n<title>Patch verification: " +
           counts + "</title>\n<style>" + STYLE + "</style>\n</head>\n<body>\n<h1>Patch verification</h1>\n<p>" +
           Now() + "</p>\n<ul class=\"totals\">" + Total("checked", total) + Total("passed", passed) +
           Total("failed", total - passed) + "</ul>\n" + RunSummary("Native files", report.files) +
           RunSummary("Apps", report.apps) + "<div class=\"bar\" role=\"img\" aria-label=\"" + counts + "\">" +
           BarPart("passed", passed) + BarPart("failed", total - passed) +
           "</div>\n<form class=\"filter\" onsubmit=\"return false\"><input type=\"search\" id=\"text\" "
           "aria-label=\"Filter\" placeholder=\"Filter by name or value\"><label><input type=\"checkbox\" "
           "id=\"failures\"> failures only</label><span id=\"shown\"></span></form>\n" +
           RenderOutcome("Failed", report, false) + RenderOutcome("Passed", report, true) + "<script>" + SCRIPT +
           "</script>\n</body>\n</html>\n";
}
