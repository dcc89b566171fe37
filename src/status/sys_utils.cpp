#include "sys_utils.h"

#include <unistd.h>

#include "platform/parameter.h"
#include "quick_fix_log.h"

namespace TEKLO::QuickFixEngine {
namespace {

constexpr char PARAM_BASE_VERSION_CONST[] = "const.comp.kt.product_base_version.real";
constexpr char PARAM_BASE_VERSION_RO[] = "ro.comp.kt.product_base_version.real";
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
    if (GetParameter(PARAM_BASE_VERSION_CONST, "", version, sizeof(version)) < 1 &&
        GetParameter(PARAM_BASE_VERSION_RO, "", version, sizeof(version)) < 1) {
        QF_FILE_LOGE("get base version error");
        return "";
    }
    QF_FILE_LOGI("get base version: %{public}s success", version);
    return version;
}

}  // namespace TEKLO::QuickFixEngine
