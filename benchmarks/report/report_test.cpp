#include "report/report.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <stdexcept>

#include "report/svg_chart.h"

using namespace bench;

namespace {

Comparison TwoSides(const std::vector<double>& ours, const std::vector<double>& others, Relation relation) {
    return {"id",
            "Title",
            {"ms", 1e6, 2},
            2,
            {{"library", true, "", 1, ours}, {"other", false, "", 1, others}},
            {{0, 1, relation}}};
}

Threshold AtLeast(double limit, double measured) {
    return {"speed", {measured, measured - 0.05, measured + 0.05}, true, limit, 2, ""};
}

Threshold AtMost(double limit, double measured) {
    return {"size", {measured, measured, measured}, false, limit, 0, " bytes"};
}

TEST(Figures, RatiosAreThoseOfEachRound) {
    const Comparison slower = TwoSides({2, 9}, {1, 3}, Relation::TIME);
    const Spread time = RatioOf(slower, slower.pairs.front());
    EXPECT_DOUBLE_EQ(time.median, 2.5);
    EXPECT_DOUBLE_EQ(time.lowest, 2);
    EXPECT_DOUBLE_EQ(time.highest, 3);

    const Comparison faster = TwoSides({1, 8, 2}, {2, 2, 2}, Relation::SPEED);
    const Spread speed = RatioOf(faster, faster.pairs.front());
    EXPECT_DOUBLE_EQ(speed.median, 1);
    EXPECT_DOUBLE_EQ(speed.lowest, 0.25);
    EXPECT_DOUBLE_EQ(speed.highest, 2);
}

TEST(Figures, NumbersAreGroupedByThousands) {
    EXPECT_EQ(Grouped(0, 0), "0");
    EXPECT_EQ(Grouped(999.996, 2), "1,000.00");
    EXPECT_EQ(Grouped(131072, 0), "131,072");
    EXPECT_EQ(Grouped(1234567.89, 1), "1,234,567.9");
    EXPECT_EQ(Grouped(-123, 0), "-123");
    EXPECT_EQ(Grouped(-4321, 0), "-4,321");
}

TEST(Report, BarsAreMetOrMissedByTheMedian) {
    EXPECT_TRUE(IsMet(AtLeast(0.9, 0.9)));
    EXPECT_TRUE(IsMet(AtMost(131072, 131072)));
    EXPECT_EQ(
        TabulateThresholds({AtLeast(0.9, 0.92), AtLeast(1.8, 1.71), AtLeast(1.8, 1.7999), AtMost(131072, 144179)}),
        "| figure | bar | measured | met |\n"
        "|---|---|---|---|\n"
        "| speed | at least 0.90 | 0.92 (0.87 to 0.97) | yes |\n"
        "| speed | at least 1.80 | 1.71 (1.66 to 1.76) | **no**, missed by 5.0 % |\n"
        "| speed | at least 1.80 | 1.80 (1.75 to 1.85) | **no**, missed by 0.1 % |\n"
        "| size | at most 131,072 bytes | 144,179 bytes | **no**, missed by 10.0 % |");
}

TEST(Report, TablesHaveARowForEachMeasuredPair) {
    Comparison comparison = TwoSides({54e6, 56e6}, {27e6, 14e6}, Relation::TIME);
    comparison.sides.push_back({"filtered out", false});
    comparison.pairs.push_back({0, 2, Relation::TIME});
    EXPECT_EQ(Tabulate(comparison),
              "| Title | time | beside | its time | ratio | lowest to highest |\n"
              "|---|---:|---|---:|---|---|\n"
              "| library | 55.00 ms | other | 20.50 ms | 3.00 of its time | 2.00 to 4.00 |");
}

TEST(Report, PagesAreFilledExactly) {
    EXPECT_EQ(Fill("a @x@@y@ b", {{"x", "1 @y@"}, {"y", "2"}}), "a 1 @y@2 b");
    EXPECT_THROW(Fill("@x@ @y@", {{"x", "1"}}), std::runtime_error);
    EXPECT_THROW(Fill("@x@", {{"x", "1"}, {"y", "2"}}), std::runtime_error);
    EXPECT_THROW(Fill("x@", {}), std::runtime_error);
}

TEST(Report, WhatIsNotMeasuredIsNotWritten) {
    const Results results = {{TwoSides({1, 2}, {1}, Relation::TIME)}, 0, "machine"};
    std::filesystem::create_directory("/report");
    EXPECT_THROW(WriteReport("/report", "/page.md.in", results), std::runtime_error);
    EXPECT_TRUE(std::filesystem::is_empty("/report"));
}

TEST(Chart, TextsAreEscaped) {
    const std::string chart = DrawChart({"a < b", "R&D", {{"\"x\"", "1 > 0", 1, 1, 1, true}}, {"<&>"}});
    for (const char* text : {"<title id=\"title\">a &lt; b</title>", ">R&amp;D</text>", ">&quot;x&quot;</text>",
                             ">1 &gt; 0</text>", ">&lt;&amp;&gt;</text>", "role=\"img\""}) {
        EXPECT_NE(chart.find(text), std::string::npos) << text;
    }
}

TEST(Chart, BarsShareAScaleAndAVeryLongOneIsCut) {
    const std::string chart = DrawChart(
        {"", "", {{"", "", 50, 50, 50, true}, {"", "", 100, 90, 200, false}, {"", "", 401, 401, 401, false}}, {}});
    EXPECT_NE(chart.find("class=\"ours\" x=\"24.0\" y=\"95.0\" width=\"178.0\""), std::string::npos) << chart;
    EXPECT_NE(chart.find("class=\"other\" x=\"24.0\" y=\"145.0\" width=\"356.0\""), std::string::npos);
    EXPECT_NE(chart.find("class=\"other\" x=\"24.0\" y=\"195.0\" width=\"712.0\""), std::string::npos);
    const size_t cut = chart.find("class=\"cut\"");
    EXPECT_NE(cut, std::string::npos);
    EXPECT_EQ(chart.find("class=\"cut\"", cut + 1), std::string::npos);
    const size_t spread = chart.find("<path class=\"spread\" d=\"M344.4 ");
    EXPECT_NE(spread, std::string::npos);
    EXPECT_EQ(chart.find("class=\"spread\"", spread + 20), std::string::npos);
}

}  // namespace
