#include "quick_fix_plume_wrapper.h"

namespace TEKLO::QuickFixEngine {

QuickFixPlumeLevel QuickFixPlumeWrapper::level_ = QuickFixPlumeLevel::INFO;

bool QuickFixPlumeWrapper::JudgeLevel(const QuickFixPlumeLevel& level) {
    return level >= level_;
}

}  // namespace TEKLO::QuickFixEngine
