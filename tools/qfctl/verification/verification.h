#pragma once

#include <string>
#include <vector>

#include "report/results.h"

namespace qfctl {

struct VerificationOptions {
    bool includesFiles = true;
    std::string appsFile;  // empty: no apps
    bool usesShell = false;
    bool showsRecords = false;
};

struct Verification {
    Results results;
    std::string reportObject;
};

/// Makes the runs and checks their results. Throws Failure when a run can't be made or trusted.
Verification Verify(const VerificationOptions& options);

/// Throws Failure, with a message for each reason, when there are inconclusive files.
void CheckConclusive(const std::vector<ItemResult>& files);

}  // namespace qfctl
