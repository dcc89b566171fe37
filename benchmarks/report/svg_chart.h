/// Horizontal bars as an SVG picture with a background of its own, so that it reads on light and dark pages.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace bench {

struct ChartBar {
    std::string label;
    std::string value;
    double length;
    double lowest;
    double highest;
    bool ours;
};

struct Chart {
    std::string title;
    std::string caption;
    std::vector<ChartBar> bars;
    std::vector<std::string> notes;
};

std::string EscapeXml(std::string_view text);

/// A bar over eight times as long as the longest of ours is cut, so that the others can be told apart.
std::string DrawChart(const Chart& chart);

}  // namespace bench
