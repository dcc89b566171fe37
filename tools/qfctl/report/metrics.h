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

/// What a status file says.
struct PatchStatus {
    std::string version;
    std::string status;
    std::set<int32_t> errorCodes;
};

struct Metrics {
    Identity identity;
    std::chrono::microseconds duration = {};
    ExitCode exitCode = ExitCode::DONE;
    const Results* results = nullptr;   // of a run that was made and can be trusted
    std::optional<PatchStatus> status;  // of the status file, if one was requested and could be read
};

/// Renders the text format of Prometheus.
std::string RenderMetrics(const Metrics& metrics);

}  // namespace qfctl
