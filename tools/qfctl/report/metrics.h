#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <set>
#include <string>

#include "failure.h"
#include "report/identity.h"
#include "report/results.h"

namespace qfctl {

struct PatchStatus {
    std::string version;
    std::string status;
    std::set<int32_t> errorCodes;
};

struct Metrics {
    Identity identity;
    std::chrono::microseconds duration = {};
    ExitCode exitCode = ExitCode::DONE;
    const Results* results = nullptr;   // null if there is no trustworthy result
    std::optional<PatchStatus> status;  // empty if no status file was requested or if it could not be read
};

/// Renders the text format of Prometheus.
std::string RenderMetrics(const Metrics& metrics);

}  // namespace qfctl
