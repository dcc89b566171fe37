#include "report/results.h"

#include <algorithm>

namespace qfctl {

bool Results::HavePassed() const {
    return CountPassed(files) == files.size() && CountPassed(apps) == apps.size();
}

bool IsPassed(const ItemResult& result) {
    return result.differences.empty();
}

size_t CountPassed(const std::vector<ItemResult>& results) {
    return static_cast<size_t>(std::count_if(results.begin(), results.end(), IsPassed));
}

}  // namespace qfctl
