#include <array>
#include <memory>

#include "diagnosis/checks.h"
#include "platform/common_event.h"
#include "platform/parameter.h"
#include "sys_utils.h"

namespace qfctl {
namespace {

using TEKLO::EventFwk::CommonEventData;
using TEKLO::EventFwk::CommonEventManager;
using TEKLO::EventFwk::CommonEventSubscribeInfo;
using TEKLO::EventFwk::CommonEventSubscriber;
using TEKLO::EventFwk::CommonEventSupport;
using TEKLO::EventFwk::MatchingSkills;
using TEKLO::QuickFixEngine::BASE_VERSION_FALLBACK_PARAMETER;

class SilentSubscriber : public CommonEventSubscriber {
public:
    using CommonEventSubscriber::CommonEventSubscriber;
    void OnReceiveEvent(const CommonEventData& /*data*/) override {}
};

}  // namespace

Finding CheckParameterStore() {
    const std::string name = "parameters";
    std::array<char, 1> value = {};
    const bool isReadable = GetParameter(BASE_VERSION_FALLBACK_PARAMETER, "", value.data(), 1) >= 0;
    return isReadable ? Finding{name, Severity::OK, "the platform's parameters can be read", ""}
                      : Finding{name, Severity::ERROR, "the platform's parameters can't be read",
                                "see the platform's log, or run as another user"};
}

Findings CheckEvents() {
    const std::string name = "events";
    MatchingSkills skills;
    skills.AddEvent(CommonEventSupport::COMMON_EVENT_USER_ADDED);
    const auto subscriber = std::make_shared<SilentSubscriber>(CommonEventSubscribeInfo(skills));
    if (!CommonEventManager::SubscribeCommonEvent(subscriber)) {
        return {{name, Severity::ERROR, "the platform refuses a subscription to its broadcasts",
                 "see the platform's log, or run as another user"}};
    }
    CommonEventManager::UnSubscribeCommonEvent(subscriber);
    return {{name, Severity::OK, "the platform accepts a subscription to its broadcasts", ""}};
}

}  // namespace qfctl
