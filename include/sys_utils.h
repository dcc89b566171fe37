/// The running stage and the product's base version.
#pragma once

#include <string>

namespace TEKLO::QuickFixEngine {

/// The process runs with real user id 0, as in the init stage of the boot.
inline constexpr int STAGE_INIT = 0;
/// Any other user: the engine runs as a system service.
inline constexpr int STAGE_SA = 1;

/// Answers without state; every call asks anew and writes a record, to the platform log and the file log.
///
/// Threads: any.
class [[gnu::visibility("default")]] SysUtils {
public:
    /// `STAGE_INIT` or `STAGE_SA`. Records "current stage is init" or "current stage is sa" at info level.
    static int GetRunningStage();

    /// The value of the parameter const.comp.kt.product_base_version.real, or if that is empty or missing of
    /// ro.comp.kt.product_base_version.real, as it stands and cut to 255 bytes; recorded at info level as "get base
    /// version: %{public}s success". Empty when neither is set, "get base version error" at error level.
    static std::string GetBaseVersion();
};

}  // namespace TEKLO::QuickFixEngine
