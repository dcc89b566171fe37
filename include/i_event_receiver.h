/// Who is told of the broadcasts that an `EventSubscriber` hears.
#pragma once

#include "platform/common_event.h"

namespace TEKLO::QuickFixEngine {

class [[gnu::visibility("default")]] IEventReceiver {
public:
    virtual ~IEventReceiver() = default;

    /// Called once for each event, on the platform's event thread. `data` lives until it returns.
    virtual void OnReceiveEvent(const TEKLO::EventFwk::CommonEventData& data) = 0;
};

}  // namespace TEKLO::QuickFixEngine
