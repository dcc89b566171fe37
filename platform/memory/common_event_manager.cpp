#include <algorithm>
#include <exception>
#include <mutex>
#include <utility>

#include "platform/common_event.h"
#include "platform/memory_platform.h"

namespace {

using TEKLO::MemoryPlatform::EventCall;
using Subscriber = std::shared_ptr<TEKLO::EventFwk::CommonEventSubscriber>;

struct Events {
    // Locked during a delivery. Recursive, because `OnReceiveEvent` may subscribe and unsubscribe.
    std::recursive_mutex mutex;
    std::vector<Subscriber> subscribers;
    TEKLO::MemoryPlatform::EventFilter filter;

    bool IsAccepted(EventCall call, const Subscriber& subscriber) const { return !filter || filter(call, *subscriber); }

    bool Contains(const Subscriber& subscriber) const {
        return std::find(subscribers.begin(), subscribers.end(), subscriber) != subscribers.end();
    }

    void Remove(const Subscriber& subscriber) {
        subscribers.erase(std::find(subscribers.begin(), subscribers.end(), subscriber));
    }
};

using Lock = std::lock_guard<std::recursive_mutex>;

Events& GetEvents() {
    static Events& events = *new Events;
    return events;
}

void Deliver(const Subscriber& subscriber, const TEKLO::EventFwk::CommonEventData& event) {
    try {
        subscriber->OnReceiveEvent(event);
    } catch (...) {  // NOLINT(bugprone-empty-catch): an exception ends only this delivery
    }
}

}  // namespace

namespace TEKLO::EventFwk {

bool CommonEventManager::SubscribeCommonEvent(const Subscriber& subscriber) {
    Events& events = GetEvents();
    const Lock lock(events.mutex);
    if (subscriber == nullptr) {
        return false;
    }
    if (!events.Contains(subscriber)) {
        events.subscribers.push_back(subscriber);
    }
    // Add first: as in any port, an event may arrive before this call returns.
    const bool isAccepted = events.IsAccepted(EventCall::SUBSCRIBE, subscriber);
    if (!isAccepted) {
        events.Remove(subscriber);
    }
    return isAccepted;
}

bool CommonEventManager::UnSubscribeCommonEvent(const Subscriber& subscriber) {
    Events& events = GetEvents();
    const Lock lock(events.mutex);
    if (subscriber == nullptr || !events.Contains(subscriber)) {
        return false;
    }
    events.Remove(subscriber);
    return events.IsAccepted(EventCall::UNSUBSCRIBE, subscriber);
}

bool CommonEventManager::PublishCommonEvent(const CommonEventData& data) {
    Events& events = GetEvents();
    const Lock lock(events.mutex);
    const std::string action = data.GetWant().GetAction();
    for (const Subscriber& subscriber : std::vector<Subscriber>(events.subscribers)) {
        // An earlier delivery may have removed the subscriber.
        if (events.Contains(subscriber) && subscriber->GetSubscribeInfo().GetMatchingSkills().HasEvent(action)) {
            Deliver(subscriber, data);
        }
    }
    return true;
}

}  // namespace TEKLO::EventFwk

void TEKLO::MemoryPlatform::SetEventFilter(EventFilter filter) {
    const Lock lock(GetEvents().mutex);
    GetEvents().filter = std::move(filter);
}
