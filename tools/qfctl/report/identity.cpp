#include "report/identity.h"

#include <sys/utsname.h>

#include <algorithm>
#include <ctime>

#include "quick_fix_version.h"
#include "sys_utils.h"

namespace qfctl {

using TEKLO::QuickFixEngine::STAGE_INIT;
using TEKLO::QuickFixEngine::SysUtils;

Identity ReadIdentity(Clock::time_point start) {
    struct utsname system = {};
    (void)uname(&system);  // fails only for a bad address
    return {system.nodename,
            SysUtils::GetBaseVersion(),
            SysUtils::GetRunningStage() == STAGE_INIT ? "init" : "sa",
            std::string(system.sysname) + " " + system.release + " " + system.machine,
            QUICKFIX_UTILS_VERSION,
            start};
}

std::vector<std::pair<const char*, std::string>> Describe(const Identity& identity) {
    std::vector<std::pair<const char*, std::string>> properties = {
        {"host", identity.host},
        {"base version", identity.baseVersion},
        {"stage", identity.stage},
        {"kernel", identity.kernel},
        {"time", FormatTime(identity.start, "%Y-%m-%d %H:%M:%S %z")},
        {"qfctl", identity.version},
    };
    properties.erase(std::remove_if(properties.begin(), properties.end(),
                                    [](const auto& property) { return property.second.empty(); }),
                     properties.end());
    return properties;
}

std::string FormatTime(Clock::time_point time, const char* format) {
    const std::time_t seconds = Clock::to_time_t(time);
    std::tm local = {};
    localtime_r(&seconds, &local);
    char text[64] = {};
    (void)strftime(text, sizeof(text), format, &local);
    return text;
}

}  // namespace qfctl
