#include "event_subscriber.h"

#include <string>

#include "quick_fix_log.h"

namespace TEKLO::QuickFixEngine {

EventSubscriber::EventSubscriber(const EventFwk::CommonEventSubscribeInfo& subscribeInfo, IEventReceiver* receiver)
    : CommonEventSubscriber(subscribeInfo), commonEventReceiver_(receiver) {}

EventSubscriber::EventSubscriber(const EventFwk::CommonEventSubscribeInfo& subscribeInfo)
    : EventSubscriber(subscribeInfo, nullptr) {}

void EventSubscriber::OnReceiveEvent(const EventFwk::CommonEventData& data) {
    const std::string action = data.GetWant().GetAction();
    QF_FILE_LOGI("OnReceiveEvent get action: %{public}s", action.c_str());
    if (commonEventReceiver_ == nullptr) {
        QF_FILE_LOGI("OnReceiveEvent commonEventReceiver_ is null");
        return;
    }
    commonEventReceiver_->OnReceiveEvent(data);
}

}  // namespace TEKLO::QuickFixEngine
