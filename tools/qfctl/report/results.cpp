#include "report/results.h"

#include <algorithm>

namespace qfctl {

size_t Results::Count(Verdict verdict) const {
    return qfctl::Count(files, verdict) + qfctl::Count(apps, verdict);
}

size_t Count(const std::vector<ItemResult>& results, Verdict verdict) {
    return static_cast<size_t>(std::count_if(
        results.begin(), results.end(), [verdict](const ItemResult& result) { return result.verdict == verdict; }));
}

const char* ToText(Verdict verdict) {
    switch (verdict) {
        case Verdict::PASSED:
            return "passed";
        case Verdict::FAILED:
            return "failed";
        case Verdict::INCONCLUSIVE:
            break;
    }
    return "inconclusive";
}

}  // namespace qfctl
