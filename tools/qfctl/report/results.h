#pragma once

#include <cstddef>
#include <vector>

#include "test_manager.h"

namespace qfctl {

using TEKLO::QuickFixEngine::Difference;
using TEKLO::QuickFixEngine::ItemResult;

/// What a verification found out, in the order in which it was checked.
struct Results {
    std::vector<ItemResult> files;
    std::vector<ItemResult> apps;

    bool HavePassed() const;
};

/// As the report counts it: an inconclusive item without a difference has passed. Such a run is refused as a whole.
bool IsPassed(const ItemResult& result);
size_t CountPassed(const std::vector<ItemResult>& results);

}  // namespace qfctl
