#include <unistd.h>

#include <array>
#include <initializer_list>

#include "diagnosis/checks.h"
#include "platform/parameter.h"
#include "sys_utils.h"
#include "text/escape.h"

namespace qfctl {
namespace {

using TEKLO::QuickFixEngine::BASE_VERSION_FALLBACK_PARAMETER;
using TEKLO::QuickFixEngine::BASE_VERSION_PARAMETER;

// Does not call SysUtils, which would write to the file log.
Finding CheckStage() {
    const uid_t user = getuid();
    return {"stage", Severity::OK, std::string(user == 0 ? "init" : "sa") + ", for user " + std::to_string(user), ""};
}

Finding CheckBaseVersion() {
    const std::string name = "base-version";
    for (const char* key : {BASE_VERSION_PARAMETER, BASE_VERSION_FALLBACK_PARAMETER}) {
        std::array<char, 256> value = {};
        const int length = GetParameter(key, "", value.data(), static_cast<unsigned int>(value.size()));
        if (length < 0) {
            return {name, Severity::UNKNOWN, std::string(key) + " can't be read", "try again, or as another user"};
        }
        if (length > 0) {
            return {name, Severity::OK, QuoteIfUnprintable(value.data()) + ", from " + key, ""};
        }
    }
    return {name, Severity::WARNING, "no base version is set",
            std::string("set the parameter ") + BASE_VERSION_PARAMETER + " or " + BASE_VERSION_FALLBACK_PARAMETER};
}

}  // namespace

Findings CheckSystem() {
    Findings findings = {CheckStage(), CheckParameterStore()};
    if (findings.back().severity == Severity::OK) {
        findings.push_back(CheckBaseVersion());
    }
    return findings;
}

}  // namespace qfctl
