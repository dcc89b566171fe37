/// What was measured, and what comes of it: medians, spreads, ratios.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace bench {

/// A figure is shown divided by `scale`, with `digits` behind the point.
struct Unit {
    std::string name;
    double scale;
    int digits;
};

struct Side {
    std::string label;
    bool ours;
    std::string job = {};              ///< its name in Google Benchmark; empty when there is nothing to run
    double items = 1;                  ///< that one iteration of the job is for
    std::vector<double> samples = {};  ///< of each round: nanoseconds an item, or bytes
};

enum class Relation { SPEED, TIME, SIZE };

/// Two of a comparison's sides.
struct Pair {
    size_t subject;
    size_t beside;
    Relation relation;
};

struct Comparison {
    std::string id;
    std::string title;
    Unit unit;
    int rounds;
    std::vector<Side> sides;
    std::vector<Pair> pairs;
};

struct Spread {
    double median;
    double lowest;
    double highest;
};

bool IsMeasured(const Comparison& comparison, const Pair& pair);

/// Of at least one sample.
Spread SpreadOf(std::vector<double> samples);

/// Of the ratios that the rounds gave, each of two samples that were taken one after the other.
Spread RatioOf(const Comparison& comparison, const Pair& pair);

/// "1,234.50"
std::string Grouped(double value, int digits);

/// "54.70 ms"
std::string InUnit(const Unit& unit, double figure);

/// "0.95 to 0.98"
std::string Range(const Spread& spread, int digits);

/// "of its speed"
std::string Of(Relation relation);

}  // namespace bench
