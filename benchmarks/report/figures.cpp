#include "figures.h"

#include <algorithm>
#include <cstdio>

namespace bench {

bool IsMeasured(const Comparison& comparison, const Pair& pair) {
    return !comparison.sides[pair.subject].samples.empty() && !comparison.sides[pair.beside].samples.empty();
}

Spread SpreadOf(std::vector<double> samples) {
    std::sort(samples.begin(), samples.end());
    const size_t half = samples.size() / 2;
    const bool odd = samples.size() % 2 == 1;
    return {odd ? samples[half] : (samples[half - 1] + samples[half]) / 2, samples.front(), samples.back()};
}

Spread RatioOf(const Comparison& comparison, const Pair& pair) {
    const std::vector<double>& subject = comparison.sides[pair.subject].samples;
    const std::vector<double>& beside = comparison.sides[pair.beside].samples;
    std::vector<double> ratios;
    for (size_t round = 0; round < std::min(subject.size(), beside.size()); ++round) {
        const double time = subject[round] / beside[round];
        ratios.push_back(pair.relation == Relation::SPEED ? 1 / time : time);
    }
    return SpreadOf(ratios);
}

std::string Grouped(double value, int digits) {
    char text[64] = {};
    (void)snprintf(text, sizeof(text), "%.*f", digits, value);
    std::string grouped = text;
    const size_t point = grouped.find('.');
    const size_t first = grouped[0] == '-' ? 1 : 0;
    for (size_t at = std::min(point, grouped.size()); at > first + 3;) {
        at -= 3;
        grouped.insert(at, 1, ',');
    }
    return grouped;
}

std::string InUnit(const Unit& unit, double figure) {
    return Grouped(figure / unit.scale, unit.digits) + " " + unit.name;
}

std::string Range(const Spread& spread, int digits) {
    return Grouped(spread.lowest, digits) + " to " + Grouped(spread.highest, digits);
}

std::string Of(Relation relation) {
    switch (relation) {
        case Relation::SPEED:
            return "of its speed";
        case Relation::TIME:
            return "of its time";
        case Relation::SIZE:
            return "of its size";
    }
    return "";
}

}  // namespace bench
