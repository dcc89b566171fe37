#include "platform/common_event.h"

namespace TEKLO::AAFwk {

Want& Want::SetAction(const std::string& action) {
    action_ = action;
    return *this;
}

std::string Want::GetAction() const {
    return action_;
}

}  // namespace TEKLO::AAFwk

namespace TEKLO::EventFwk {

CommonEventData::CommonEventData() = default;

CommonEventData::CommonEventData(const AAFwk::Want& want) : want_(want) {}

const AAFwk::Want& CommonEventData::GetWant() const {
    return want_;
}

MatchingSkills::MatchingSkills() = default;

void MatchingSkills::AddEvent(const std::string& event) {
    events_.insert(event);
}

bool MatchingSkills::HasEvent(const std::string& event) const {
    return events_.count(event) != 0;
}

CommonEventSubscribeInfo::CommonEventSubscribeInfo(const MatchingSkills& matchingSkills)
    : matchingSkills_(matchingSkills) {}

const MatchingSkills& CommonEventSubscribeInfo::GetMatchingSkills() const {
    return matchingSkills_;
}

CommonEventSubscriber::CommonEventSubscriber(const CommonEventSubscribeInfo& subscribeInfo)
    : subscribeInfo_(subscribeInfo) {}

CommonEventSubscriber::~CommonEventSubscriber() = default;

const CommonEventSubscribeInfo& CommonEventSubscriber::GetSubscribeInfo() const {
    return subscribeInfo_;
}

// Earliest init priority: other initialisers copy these, and the link order of a static library is arbitrary.
[[gnu::init_priority(101)]] const std::string CommonEventSupport::COMMON_EVENT_BUNDLE_SCAN_FINISHED =
    "teklo.event.BUNDLE_SCAN_FINISHED";
[[gnu::init_priority(101)]] const std::string CommonEventSupport::COMMON_EVENT_USER_ADDED = "teklo.event.USER_ADDED";

}  // namespace TEKLO::EventFwk
