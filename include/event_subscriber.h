/// Forwards broadcasts of the platform to a receiver.
#pragma once

#include "i_event_receiver.h"
#include "platform/common_event.h"

namespace TEKLO::QuickFixEngine {

/// Create it with std::make_shared and pass it to `CommonEventManager::SubscribeCommonEvent`. The platform shares
/// ownership until the subscriber is unsubscribed. The receiver is not owned: unsubscribe before you destroy it.
///
/// Threads: the platform calls `OnReceiveEvent` on its event thread. A subscriber is immutable and has no lock.
class [[gnu::visibility("default")]] EventSubscriber : public TEKLO::EventFwk::CommonEventSubscriber {
public:
    /// With a null `receiver`, events are only logged.
    EventSubscriber(const TEKLO::EventFwk::CommonEventSubscribeInfo& subscribeInfo, IEventReceiver* receiver);

    /// Creates a subscriber without a receiver.
    explicit EventSubscriber(const TEKLO::EventFwk::CommonEventSubscribeInfo& subscribeInfo);

    /// Logs "OnReceiveEvent get action: %{public}s" at info level and passes `data` on, regardless of its action.
    /// Without a receiver, does not pass `data` on, but also logs "OnReceiveEvent commonEventReceiver_ is null" at info
    /// level. An exception of the receiver propagates to the platform.
    void OnReceiveEvent(const TEKLO::EventFwk::CommonEventData& data) override;

private:
    IEventReceiver* const commonEventReceiver_;
};

}  // namespace TEKLO::QuickFixEngine
