#include "svg_chart.h"

#include <algorithm>
#include <cstdio>
#include <initializer_list>

namespace bench {
namespace {

constexpr double WIDTH = 760;
constexpr double MARGIN = 24;
constexpr double LONGEST_BAR = WIDTH - 2 * MARGIN;
constexpr double TITLE_LINE = 36;
constexpr double CAPTION_LINE = 58;
constexpr double FIRST_BAR = 74;
constexpr double BAR_PITCH = 50;
constexpr double TEXT_LINE = 14;
constexpr double BAR_OFFSET = 21;
constexpr double BAR_HEIGHT = 16;
constexpr double NOTE_PITCH = 20;
constexpr double CUT_ABOVE = 8;

constexpr char BACKGROUND[] = "#ffffff";
constexpr char STYLE[] =
    "<style>text{font:13px system-ui,'Segoe UI','DejaVu Sans',sans-serif;fill:#1f2328}"
    ".title{font-size:17px;font-weight:600}.muted{fill:#57606a}.value{text-anchor:end}"
    ".ours{fill:#4c9be8}.other{fill:#b8c0c8}.spread{fill:none;stroke:#1f2328;stroke-width:1.5}"
    ".cut{fill:none;stroke:#ffffff;stroke-width:4}</style>\n";

std::string Number(double value) {
    char text[32] = {};
    (void)snprintf(text, sizeof(text), "%.1f", value);
    return text;
}

std::string Line(double fromX, double fromY, double toX, double toY) {
    return "M" + Number(fromX) + " " + Number(fromY) + "L" + Number(toX) + " " + Number(toY);
}

std::string Path(const std::string& style, std::initializer_list<std::string> lines) {
    std::string path = "<path class=\"" + style + "\" d=\"";
    for (const std::string& line : lines) {
        path += line;
    }
    return path + "\"/>\n";
}

std::string Text(const std::string& style, double x, double y, const std::string& text) {
    return "<text class=\"" + style + "\" x=\"" + Number(x) + "\" y=\"" + Number(y) + "\">" + EscapeXml(text) +
           "</text>\n";
}

std::string Rectangle(const std::string& attributes, double x, double y, double width, double height) {
    return "<rect " + attributes + " x=\"" + Number(x) + "\" y=\"" + Number(y) + "\" width=\"" + Number(width) +
           "\" height=\"" + Number(height) + "\"/>\n";
}

double CutLength(const std::vector<ChartBar>& bars) {
    double ours = 0;
    double all = 0;
    for (const ChartBar& bar : bars) {
        all = std::max(all, bar.highest);
        if (bar.ours) {
            ours = std::max(ours, bar.highest);
        }
    }
    return ours > 0 ? CUT_ABOVE * ours : all;
}

/// What the whole width stands for: the longest bar that isn't cut.
double FullLength(const std::vector<ChartBar>& bars) {
    const double cut = CutLength(bars);
    double longest = 0;
    for (const ChartBar& bar : bars) {
        if (bar.highest <= cut) {
            longest = std::max(longest, bar.highest);
        }
    }
    return longest;
}

std::string DrawSpread(const ChartBar& bar, double y, double full) {
    const double from = MARGIN + LONGEST_BAR * bar.lowest / full;
    const double to = MARGIN + LONGEST_BAR * bar.highest / full;
    const double middle = y + BAR_HEIGHT / 2;
    return Path("spread", {Line(from, middle, to, middle), Line(from, middle - 5, from, middle + 5),
                           Line(to, middle - 5, to, middle + 5)});
}

std::string DrawCut(double y) {
    const double x = MARGIN + LONGEST_BAR - 40;
    return Path("cut", {Line(x, y + BAR_HEIGHT + 2, x + 8, y - 2), Line(x + 9, y + BAR_HEIGHT + 2, x + 17, y - 2)});
}

std::string DrawBar(const ChartBar& bar, double top, double full) {
    const double y = top + BAR_OFFSET;
    const bool isCut = bar.highest > full;
    const double width = isCut ? LONGEST_BAR : LONGEST_BAR * bar.length / full;
    std::string drawn = Text("label", MARGIN, top + TEXT_LINE, bar.label);
    drawn += Text("value", WIDTH - MARGIN, top + TEXT_LINE, bar.value);
    drawn += Rectangle(bar.ours ? "class=\"ours\"" : "class=\"other\"", MARGIN, y, width, BAR_HEIGHT);
    if (isCut) {
        return drawn + DrawCut(y);
    }
    return bar.lowest < bar.highest ? drawn + DrawSpread(bar, y, full) : drawn;
}

/// For those who can't see the picture.
std::string Describe(const Chart& chart) {
    std::string description = chart.caption + ".";
    for (const ChartBar& bar : chart.bars) {
        description += " " + bar.label + ": " + bar.value + ".";
    }
    for (const std::string& note : chart.notes) {
        description += " " + note + ".";
    }
    return description;
}

std::string Open(const Chart& chart, double height) {
    const std::string size = Number(WIDTH) + "\" height=\"" + Number(height);
    return "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"" + size + "\" viewBox=\"0 0 " + Number(WIDTH) + " " +
           Number(height) + "\" role=\"img\" aria-labelledby=\"title description\">\n<title id=\"title\">" +
           EscapeXml(chart.title) + "</title>\n<desc id=\"description\">" + EscapeXml(Describe(chart)) + "</desc>\n";
}

}  // namespace

std::string EscapeXml(std::string_view text) {
    std::string escaped;
    for (const char c : text) {
        switch (c) {
            case '&':
                escaped += "&amp;";
                break;
            case '<':
                escaped += "&lt;";
                break;
            case '>':
                escaped += "&gt;";
                break;
            case '"':
                escaped += "&quot;";
                break;
            default:
                escaped += c;
        }
    }
    return escaped;
}

std::string DrawChart(const Chart& chart) {
    const double firstNote = FIRST_BAR + BAR_PITCH * static_cast<double>(chart.bars.size());
    const double height = firstNote + NOTE_PITCH * static_cast<double>(chart.notes.size()) + MARGIN / 2;
    const double full = FullLength(chart.bars);
    std::string svg = Open(chart, height) + STYLE;
    svg += Rectangle(std::string("rx=\"6\" stroke=\"#d0d7de\" fill=\"") + BACKGROUND + "\"", 0.5, 0.5, WIDTH - 1,
                     height - 1);
    svg += Text("title", MARGIN, TITLE_LINE, chart.title);
    svg += Text("muted", MARGIN, CAPTION_LINE, chart.caption);
    double y = FIRST_BAR;
    for (const ChartBar& bar : chart.bars) {
        svg += DrawBar(bar, y, full);
        y += BAR_PITCH;
    }
    for (const std::string& note : chart.notes) {
        svg += Text("muted", MARGIN, y + TEXT_LINE, note);
        y += NOTE_PITCH;
    }
    return svg + "</svg>\n";
}

}  // namespace bench
