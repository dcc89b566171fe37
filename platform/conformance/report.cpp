#include "report.h"

namespace Conformance {

bool Report::Expect(bool holds, const std::string& rule) {
    if (!holds) {
        const std::lock_guard<std::mutex> lock(mutex_);
        broken_.push_back(rule);
    }
    return holds;
}

void Report::SetNotChecked(const std::string& reason) {
    const std::lock_guard<std::mutex> lock(mutex_);
    reason_ = reason;
}

bool Report::HasFailed() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return !broken_.empty();
}

bool Report::IsNotChecked() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return broken_.empty() && !reason_.empty();
}

std::string Report::Text() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    std::string text;
    for (const std::string& rule : broken_) {
        text += "    " + rule + "\n";
    }
    return !text.empty() || reason_.empty() ? text : "    " + reason_ + "\n";
}

}  // namespace Conformance
