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

/// Verifies files and apps, and checks the results. Throws Failure if that is not possible or a result can't be
/// trusted.
Verification Verify(const VerificationOptions& options);

/// Throws Failure, with one message per error, if a file is inconclusive.
void CheckConclusive(const std::vector<ItemResult>& files);

}  // namespace qfctl
