#include "event_listener.h"
#include "event_publisher.h"
#include "platform/common_event.h"

namespace TEKLO::EventFwk {

namespace {

using Platform::EventListener;
using Platform::EventPublisher;

// Never destroyed: static destructors may still unsubscribe. At exit, deliveries end before static objects are
// destroyed that were constructed before the first call of this function.
EventListener& Listener() {
    static EventListener& listener = *new EventListener;
    static const struct StopAtExit {
        ~StopAtExit() { listener.Stop(); }
    } stopAtExit;
    return listener;
}

}  // namespace

bool CommonEventManager::SubscribeCommonEvent(const std::shared_ptr<CommonEventSubscriber>& subscriber) {
    return subscriber != nullptr && Listener().Subscribe(subscriber);
}

bool CommonEventManager::UnSubscribeCommonEvent(const std::shared_ptr<CommonEventSubscriber>& subscriber) {
    return subscriber != nullptr && Listener().Unsubscribe(subscriber);
}

bool CommonEventManager::PublishCommonEvent(const CommonEventData& data) {
    static EventPublisher& publisher = *new EventPublisher;
    return publisher.Publish(data.GetWant().GetAction());
}

}  // namespace TEKLO::EventFwk
