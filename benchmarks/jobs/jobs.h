/// What is measured: each function makes the files that its comparison takes, and registers its jobs.
#pragma once

#include <benchmark/benchmark.h>

#include <functional>
#include <string>

#include "report/figures.h"

namespace bench {

inline const Unit MILLISECONDS = {"ms", 1e6, 2};
inline const Unit MICROSECONDS = {"µs", 1e3, 2};
inline const Unit BYTES = {"bytes", 1, 0};
// Many short samples rather than few long ones: what else the machine does then spoils some rounds and not the median.
constexpr int ROUNDS = 21;
constexpr double SAMPLE_SECONDS = 0.2;

using Job = std::function<void(benchmark::State&)>;

/// Throws std::runtime_error: a figure counts only if the job was done.
void Require(bool done, const std::string& what);

Side Ours(const std::string& label, const std::string& name, const Job& job, double items = 1);
Side Other(const std::string& label, const std::string& name, const Job& job, double items = 1);

void WriteFile(const std::string& path, size_t size);

Comparison CompareDigest();
Comparison CompareLogRecord();
Comparison CompareVerification();
Comparison CompareVerificationGrowth();
Comparison CompareCopy();
Comparison CompareSplitting();
Comparison CompareLoadTime();
Comparison CompareSize();

/// How much the process's peak of memory grows from the digest of 1 MiB to that of 1 GiB. To be called before anything
/// else is done: the peak can only grow.
long DigestGrowthKib();

}  // namespace bench
