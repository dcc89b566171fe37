/// The running stage and the product's base version.
#pragma once

#include <string>

namespace TEKLO::QuickFixEngine {

/// The real user id is 0, as in the init stage of the boot.
inline constexpr int STAGE_INIT = 0;
/// The real user id is not 0: the engine runs as a system service.
inline constexpr int STAGE_SA = 1;

/// The system parameter that holds the product's base version.
inline constexpr char BASE_VERSION_PARAMETER[] = "const.comp.kt.product_base_version.real";
/// The parameter that is read if `BASE_VERSION_PARAMETER` has no value.
inline constexpr char BASE_VERSION_FALLBACK_PARAMETER[] = "ro.comp.kt.product_base_version.real";

/// Queries without state or cache. Each call logs one record to the platform log and the file log.
///
/// Threads: any thread may call any function.
class [[gnu::visibility("default")]] SysUtils {
public:
    /// Returns `STAGE_INIT` or `STAGE_SA`. Logs "current stage is init" or "current stage is sa" at info level.
    static int GetRunningStage();

    /// Returns the parameter `BASE_VERSION_PARAMETER`. If that is empty, missing or can't be read, returns
    /// `BASE_VERSION_FALLBACK_PARAMETER`. The value is cut to 255 bytes. Logs "get base version: %{public}s success" at
    /// info level.
    ///
    /// If neither has a value, returns "" and logs "get base version error" at error level.
    static std::string GetBaseVersion();
};

}  // namespace TEKLO::QuickFixEngine
