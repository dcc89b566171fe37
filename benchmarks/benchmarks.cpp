// Each job of the library beside the fastest way, or the plainest one, to do the same; both sides in one run.
// What counts is the ratio of their times.
//
//   quickfix_benchmarks [FOLDER] [options of Google Benchmark]
//
// Prints tables; into the folder go a page, page.md, and charts.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <iostream>
#include <regex>
#include <stdexcept>
#include <vector>

#include "jobs/jobs.h"
#include "quick_fix_log.h"
#include "report/machine.h"
#include "report/report.h"

namespace {

using bench::Comparison;
using bench::Side;

/// Keeps the time of the one job that ran.
class TimeReporter : public benchmark::BenchmarkReporter {
public:
    bool ReportContext(const Context& /*context*/) override { return true; }
    void ReportRuns(const std::vector<Run>& runs) override {
        nanoseconds_ = runs.front().real_accumulated_time * 1e9 / static_cast<double>(runs.front().iterations);
    }
    double Nanoseconds() const { return nanoseconds_; }

private:
    double nanoseconds_ = 0;
};

bool IsWanted(const Side& side) {
    return !side.job.empty() && std::regex_search(side.job, std::regex(benchmark::GetBenchmarkFilter()));
}

void Sample(Side& side) {
    TimeReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter, "^" + side.job + "/");
    if (reporter.Nanoseconds() > 0) {
        side.samples.push_back(reporter.Nanoseconds() / side.items);
    }
}

/// One sample of each side a round. Every other round goes backwards, so that what drifts drifts for all alike.
void Measure(Comparison& comparison) {
    std::vector<Side*> sides;
    for (Side& side : comparison.sides) {
        if (IsWanted(side)) {
            sides.push_back(&side);
        }
    }
    for (int round = 0; round < comparison.rounds && !sides.empty(); ++round) {
        std::cerr << comparison.title << ", round " << round + 1 << " of " << comparison.rounds << std::endl;
        for (Side* side : sides) {
            Sample(*side);
        }
        std::reverse(sides.begin(), sides.end());
    }
}

bench::Results MeasureAll() {
    const long growth = bench::DigestGrowthKib();
    bench::Results results = {
        {bench::CompareDigest(), bench::CompareLogRecord(), bench::CompareVerification(),
         bench::CompareVerificationGrowth(), bench::CompareCopy(), bench::CompareSplitting(), bench::CompareLoadTime(),
         bench::CompareSize()},
        growth,
        bench::DescribeMachine(),
    };
    for (Comparison& comparison : results.comparisons) {
        Measure(comparison);
    }
    return results;
}

void Print(const bench::Results& results) {
    for (const Comparison& comparison : results.comparisons) {
        const auto measured = [&](const bench::Pair& pair) { return IsMeasured(comparison, pair); };
        if (std::any_of(comparison.pairs.begin(), comparison.pairs.end(), measured)) {
            std::cout << "\n" << bench::Tabulate(comparison) << "\n";
        }
    }
    std::cout << "\nPeak memory of the process grew by " << results.digestGrowthKib
              << " KiB from the digest of 1 MiB to that of 1 GiB.\n";
}

}  // namespace

int main(int argc, char** argv) try {
    benchmark::Initialize(&argc, argv);
    if (argc > 2 || (argc == 2 && argv[1][0] == '-')) {
        std::cerr << "quickfix_benchmarks: takes a folder for the page, and options of Google Benchmark\n";
        return 2;
    }
    TEKLO::QuickFixEngine::QuickFixPlumeWrapper::level_ =
        static_cast<TEKLO::QuickFixEngine::QuickFixPlumeLevel>(INT32_MAX);
    const bench::Results results = MeasureAll();
    Print(results);
    if (argc == 2) {
        bench::WriteReport(argv[1], PAGE_TEMPLATE, results);
    }
    return 0;
} catch (const std::exception& error) {
    std::cerr << "quickfix_benchmarks: " << error.what() << "\n";
    return 1;
}
