#include "report.h"

namespace Conformance {

bool Report::Expect(bool holds, const std::string& violation) {
    if (!holds) {
        const std::lock_guard<std::mutex> lock(mutex_);
        violations_.push_back(violation);
    }
    return holds;
}

void Report::SetNotChecked(const std::string& reason) {
    const std::lock_guard<std::mutex> lock(mutex_);
    reason_ = reason;
}

bool Report::HasFailed() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return !violations_.empty();
}

bool Report::IsNotChecked() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return violations_.empty() && !reason_.empty();
}

std::string Report::Text() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    std::string text;
    for (const std::string& violation : violations_) {
        text += "    " + violation + "\n";
    }
    return !text.empty() || reason_.empty() ? text : "    " + reason_ + "\n";
}

}  // namespace Conformance
