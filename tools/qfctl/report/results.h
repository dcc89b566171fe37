#pragma once

#include <cstddef>
#include <vector>

#include "test_manager.h"

namespace qfctl {

using TEKLO::QuickFixEngine::Difference;
using TEKLO::QuickFixEngine::ItemResult;
using TEKLO::QuickFixEngine::Verdict;

/// All verdicts in display order.
inline constexpr Verdict VERDICTS[] = {Verdict::FAILED, Verdict::INCONCLUSIVE, Verdict::PASSED};

/// The results of a verification, in the order in which the items were verified.
struct Results {
    std::vector<ItemResult> files;
    std::vector<ItemResult> apps;

    /// Returns the number of files and apps with this verdict.
    size_t Count(Verdict verdict) const;
};

size_t Count(const std::vector<ItemResult>& results, Verdict verdict);

/// "passed", "failed" or "inconclusive".
const char* ToText(Verdict verdict);

}  // namespace qfctl
