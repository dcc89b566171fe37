#include "sys_utils.h"

#include <unistd.h>

#include "platform/parameter.h"
#include "quick_fix_log.h"

namespace TEKLO::QuickFixEngine {
namespace {

constexpr unsigned int PARAM_VALUE_SIZE = 256;

}  // namespace

int SysUtils::GetRunningStage() {
    if (getuid() == 0) {
        QF_FILE_LOGI("current stage is init");
        return STAGE_INIT;
    }
    QF_FILE_LOGI("current stage is sa");
    return STAGE_SA;
}

std::string SysUtils::GetBaseVersion() {
    char version[PARAM_VALUE_SIZE] = {};
    if (GetParameter(BASE_VERSION_PARAMETER, "", version, sizeof(version)) < 1 &&
        GetParameter(BASE_VERSION_FALLBACK_PARAMETER, "", version, sizeof(version)) < 1) {
        QF_FILE_LOGE("get base version error");
        return "";
    }
    QF_FILE_LOGI("get base version: %{public}s success", version);
    return version;
}

}  // namespace TEKLO::QuickFixEngine
