/// The interface through which an `EventSubscriber` passes events on.
#pragma once

#include "platform/common_event.h"

namespace TEKLO::QuickFixEngine {

class [[gnu::visibility("default")]] IEventReceiver {
public:
    virtual ~IEventReceiver() = default;

    /// Called once per event, on the platform's event thread. `data` is valid until the call returns.
    virtual void OnReceiveEvent(const TEKLO::EventFwk::CommonEventData& data) = 0;
};

}  // namespace TEKLO::QuickFixEngine
