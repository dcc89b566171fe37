/// The figures as tables, charts and a page.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "figures.h"

namespace bench {

struct Results {
    std::vector<Comparison> comparisons;
    long digestGrowthKib;
    std::string machine;
};

/// A figure that is to stay on one side of a limit.
struct Threshold {
    std::string what;
    Spread measured;
    bool atLeast;
    double limit;
    int digits;
    std::string unit;
};

bool IsMet(const Threshold& threshold);

/// Rows of a Markdown table: what, the limit, what was measured, whether it is met or missed by how much.
std::string TabulateThresholds(const std::vector<Threshold>& thresholds);

/// A Markdown table with a row for each pair that was measured.
std::string Tabulate(const Comparison& comparison);

std::string Draw(const Comparison& comparison);

/// Puts values in the place of their names: "@name@". Throws std::runtime_error when one is unknown or not used.
std::string Fill(const std::string& pageTemplate, const std::map<std::string, std::string>& values);

/// Writes the page and a chart for each comparison. Throws std::runtime_error when a figure or the folder is missing.
void WriteReport(const std::string& folder, const std::string& pageTemplate, const Results& results);

}  // namespace bench
