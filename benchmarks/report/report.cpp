#include "report.h"

#include <algorithm>
#include <cmath>
#include <fstream>
#include <set>
#include <sstream>
#include <stdexcept>

#include "svg_chart.h"

namespace bench {
namespace {

constexpr double LARGEST_LIBRARY = 131072;
// The kernel counts a process's memory in batches; this is a thousandth of what the file grew by.
constexpr double DIGEST_GROWTH_KIB = 1024;

std::string Caption(const Comparison& comparison) {
    std::string caption = comparison.unit.name + ", shorter is better";
    if (comparison.rounds == 1) {
        return caption;
    }
    return caption + "; median of " + std::to_string(comparison.rounds) + " rounds, line from lowest to highest";
}

ChartBar BarOf(const Side& side, const Unit& unit) {
    Spread spread = SpreadOf(side.samples);
    std::string value = InUnit(unit, spread.median);
    spread = {spread.median / unit.scale, spread.lowest / unit.scale, spread.highest / unit.scale};
    if (side.samples.size() > 1) {
        value += " (" + Range(spread, unit.digits) + ")";
    }
    return {side.label, value, spread.median, spread.lowest, spread.highest, side.ours};
}

std::string Note(const Comparison& comparison, const Pair& pair) {
    const Spread ratio = RatioOf(comparison, pair);
    std::string note = comparison.sides[pair.subject].label + " beside " + comparison.sides[pair.beside].label + ": " +
                       Grouped(ratio.median, 2) + " " + Of(pair.relation);
    if (comparison.rounds > 1) {
        note += " (" + Range(ratio, 2) + ")";
    }
    return note;
}

std::string Row(const Comparison& comparison, const Pair& pair) {
    const auto cells = [&comparison](const Side& side) {
        return "| " + side.label + " | " + InUnit(comparison.unit, SpreadOf(side.samples).median) + " ";
    };
    const Spread ratio = RatioOf(comparison, pair);
    return "\n" + cells(comparison.sides[pair.subject]) + cells(comparison.sides[pair.beside]) + "| " +
           Grouped(ratio.median, 2) + " " + Of(pair.relation) + " | " +
           (comparison.rounds > 1 ? Range(ratio, 2) : "(one figure)") + " |";
}

const Comparison& Find(const Results& results, const std::string& id) {
    for (const Comparison& comparison : results.comparisons) {
        if (comparison.id == id) {
            return comparison;
        }
    }
    throw std::runtime_error("no comparison " + id);
}

std::vector<Threshold> ThresholdsOf(const Results& results) {
    const auto ratio = [&results](const std::string& id) {
        const Comparison& comparison = Find(results, id);
        return RatioOf(comparison, comparison.pairs.front());
    };
    const auto growth = static_cast<double>(results.digestGrowthKib);
    return {
        {"speed of the digest, of EVP's with 64 KiB reads", ratio("digest"), true, 0.90, 2, ""},
        {"memory that the digest of 1 GiB takes more than that of 1 MiB",
         {growth, growth, growth},
         false,
         DIGEST_GROWTH_KIB,
         0,
         " KiB"},
        {"time of a file-log record, of that of its realpath, stat and write", ratio("log_record"), false, 1.15, 2, ""},
        {"speed of 200 files verified, of a plain loop's", ratio("verification"), true, 0.97, 2, ""},
        {"time per file of 10,000 verified, of that of 100", ratio("verification_growth"), false, 1.2, 2, ""},
        {"speed of a tree's copy, of that of `cp -r`", ratio("copy"), true, 0.9, 2, ""},
        {"stripped release library", SpreadOf(Find(results, "size").sides.front().samples), false, LARGEST_LIBRARY, 0,
         " bytes"},
    };
}

std::string ReadFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    std::ostringstream content;
    content << file.rdbuf();
    return content.str();
}

void WriteFile(const std::string& path, const std::string& content) {
    std::ofstream file(path, std::ios::binary);
    if (!file.write(content.data(), static_cast<std::streamsize>(content.size())).flush()) {
        throw std::runtime_error("can't write " + path);
    }
}

void RequireAll(const Results& results) {
    for (const Comparison& comparison : results.comparisons) {
        for (const Side& side : comparison.sides) {
            if (side.samples.size() != static_cast<size_t>(comparison.rounds)) {
                throw std::runtime_error("not measured: " + comparison.title + ", " + side.label);
            }
        }
    }
}

std::string Verdict(const Threshold& threshold) {
    if (IsMet(threshold)) {
        return "yes";
    }
    // Never 0.0 %, however small it is.
    const double missed = 100 * std::abs(threshold.measured.median / threshold.limit - 1);
    return "**no**, missed by " + Grouped(std::max(missed, 0.1), 1) + " %";
}

}  // namespace

bool IsMet(const Threshold& threshold) {
    return threshold.atLeast ? threshold.measured.median >= threshold.limit
                             : threshold.measured.median <= threshold.limit;
}

std::string TabulateThresholds(const std::vector<Threshold>& thresholds) {
    std::string table = "| figure | bar | measured | met |\n|---|---|---|---|";
    for (const Threshold& threshold : thresholds) {
        const Spread& measured = threshold.measured;
        table += "\n| " + threshold.what + " | " + (threshold.atLeast ? "at least " : "at most ") +
                 Grouped(threshold.limit, threshold.digits) + threshold.unit + " | " +
                 Grouped(measured.median, threshold.digits) + threshold.unit;
        if (measured.lowest < measured.highest) {
            table += " (" + Range(measured, threshold.digits) + ")";
        }
        table += " | " + Verdict(threshold) + " |";
    }
    return table;
}

std::string Tabulate(const Comparison& comparison) {
    const std::string measure = comparison.pairs.front().relation == Relation::SIZE ? "size" : "time";
    std::string table = "| " + comparison.title + " | " + measure + " | beside | its " + measure +
                        " | ratio | lowest to highest |\n|---|---:|---|---:|---|---|";
    for (const Pair& pair : comparison.pairs) {
        if (IsMeasured(comparison, pair)) {
            table += Row(comparison, pair);
        }
    }
    return table;
}

std::string Draw(const Comparison& comparison) {
    Chart chart = {comparison.title, Caption(comparison), {}, {}};
    for (const Side& side : comparison.sides) {
        chart.bars.push_back(BarOf(side, comparison.unit));
    }
    for (const Pair& pair : comparison.pairs) {
        chart.notes.push_back(Note(comparison, pair));
    }
    return DrawChart(chart);
}

std::string Fill(const std::string& pageTemplate, const std::map<std::string, std::string>& values) {
    std::string page;
    std::set<std::string> used;
    size_t end = 0;
    for (size_t start = 0; (start = pageTemplate.find('@', end)) != std::string::npos;) {
        const size_t close = pageTemplate.find('@', start + 1);
        const std::string name = pageTemplate.substr(start + 1, close - start - 1);
        const auto value = values.find(name);
        if (close == std::string::npos || value == values.end()) {
            throw std::runtime_error("nothing to put for @" + name + "@ in the page");
        }
        page += pageTemplate.substr(end, start - end) + value->second;
        used.insert(name);
        end = close + 1;
    }
    if (used.size() < values.size()) {
        throw std::runtime_error("the page leaves figures out");
    }
    return page + pageTemplate.substr(end);
}

void WriteReport(const std::string& folder, const std::string& pageTemplate, const Results& results) {
    RequireAll(results);
    std::map<std::string, std::string> values = {
        {"machine", results.machine},
        {"bars", TabulateThresholds(ThresholdsOf(results))},
    };
    for (const Comparison& comparison : results.comparisons) {
        values[comparison.id] = Tabulate(comparison);
        WriteFile(folder + "/" + comparison.id + ".svg", Draw(comparison));
    }
    WriteFile(folder + "/page.md", Fill(ReadFile(pageTemplate), values));
}

}  // namespace bench
