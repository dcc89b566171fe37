/// Forwards the platform's broadcasts to a receiver.
#pragma once

#include "i_event_receiver.h"
#include "platform/common_event.h"

namespace TEKLO::QuickFixEngine {

/// Made with std::make_shared and handed to `CommonEventManager::SubscribeCommonEvent`; the platform shares it until it
/// is unsubscribed. The receiver is not owned and must outlive the subscription.
///
/// Threads: the platform calls `OnReceiveEvent` on its event thread. Nothing changes after construction, so there is no
/// lock.
class [[gnu::visibility("default")]] EventSubscriber : public TEKLO::EventFwk::CommonEventSubscriber {
public:
    EventSubscriber(const TEKLO::EventFwk::CommonEventSubscribeInfo& subscribeInfo, IEventReceiver* receiver);

    /// Without a receiver it only records the events.
    explicit EventSubscriber(const TEKLO::EventFwk::CommonEventSubscribeInfo& subscribeInfo);

    /// Records "OnReceiveEvent get action: %{public}s" at info level and passes `data` itself on, whatever its action.
    /// Without a receiver: "OnReceiveEvent commonEventReceiver_ is null" at info level. What the receiver throws reaches
    /// the platform.
    void OnReceiveEvent(const TEKLO::EventFwk::CommonEventData& data) override;

private:
    IEventReceiver* const commonEventReceiver_;
};

}  // namespace TEKLO::QuickFixEngine
