#pragma once

namespace TEKLO::Platform {

/// Values of the parameter `level` of PlumePrint.
enum PlumeLevel : int {
    PLUME_LEVEL_DEBUG = 3,
    PLUME_LEVEL_INFO = 4,
    PLUME_LEVEL_WARNING = 5,
    PLUME_LEVEL_ERROR = 6,
};

}  // namespace TEKLO::Platform
