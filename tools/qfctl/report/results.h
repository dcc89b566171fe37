#pragma once

#include <cstddef>
#include <vector>

#include "test_manager.h"

namespace qfctl {

using TEKLO::QuickFixEngine::Difference;
using TEKLO::QuickFixEngine::ItemResult;
using TEKLO::QuickFixEngine::Verdict;

/// In the order in which they are shown.
inline constexpr Verdict VERDICTS[] = {Verdict::FAILED, Verdict::INCONCLUSIVE, Verdict::PASSED};

/// What a verification found out, in the order in which it was checked.
struct Results {
    std::vector<ItemResult> files;
    std::vector<ItemResult> apps;

    /// Of both runs together.
    size_t Count(Verdict verdict) const;
};

size_t Count(const std::vector<ItemResult>& results, Verdict verdict);

/// "passed", "failed" or "inconclusive".
const char* ToText(Verdict verdict);

}  // namespace qfctl
