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
    // Held during a delivery, so an unsubscription waits for its end, unless it comes from within.
    std::recursive_mutex mutex;
    std::vector<Subscriber> subscribers;
    TEKLO::MemoryPlatform::EventGate gate;

    bool Admits(EventCall call, const Subscriber& subscriber) const { return !gate || gate(call, *subscriber); }

    bool Contains(const Subscriber& subscriber) const {
        return std::find(subscribers.begin(), subscribers.end(), subscriber) != subscribers.end();
    }

    void Remove(const Subscriber& subscriber) {
        subscribers.erase(std::find(subscribers.begin(), subscribers.end(), subscriber));
    }
};

using Lock = std::lock_guard<std::recursive_mutex>;

Events& TheEvents() {
    static Events& events = *new Events;
    return events;
}

void Deliver(const Subscriber& subscriber, const TEKLO::EventFwk::CommonEventData& event) {
    try {
        subscriber->OnReceiveEvent(event);
    } catch (...) {  // NOLINT(bugprone-empty-catch): it ends this one delivery, nothing else
    }
}

}  // namespace

namespace TEKLO::EventFwk {

bool CommonEventManager::SubscribeCommonEvent(const Subscriber& subscriber) {
    Events& events = TheEvents();
    const Lock lock(events.mutex);
    if (subscriber == nullptr) {
        return false;
    }
    if (!events.Contains(subscriber)) {
        events.subscribers.push_back(subscriber);
    }
    // Added first: an event may arrive before the subscriber knows that it is subscribed.
    const bool admitted = events.Admits(EventCall::SUBSCRIBE, subscriber);
    if (!admitted) {
        events.Remove(subscriber);
    }
    return admitted;
}

bool CommonEventManager::UnSubscribeCommonEvent(const Subscriber& subscriber) {
    Events& events = TheEvents();
    const Lock lock(events.mutex);
    if (subscriber == nullptr || !events.Contains(subscriber)) {
        return false;
    }
    events.Remove(subscriber);
    return events.Admits(EventCall::UNSUBSCRIBE, subscriber);
}

bool CommonEventManager::PublishCommonEvent(const CommonEventData& data) {
    Events& events = TheEvents();
    const Lock lock(events.mutex);
    const std::string action = data.GetWant().GetAction();
    for (const Subscriber& subscriber : std::vector<Subscriber>(events.subscribers)) {
        // An earlier delivery may have removed it.
        if (events.Contains(subscriber) && subscriber->GetSubscribeInfo().GetMatchingSkills().HasEvent(action)) {
            Deliver(subscriber, data);
        }
    }
    return true;
}

}  // namespace TEKLO::EventFwk

void TEKLO::MemoryPlatform::SetEventGate(EventGate gate) {
    const Lock lock(TheEvents().mutex);
    TheEvents().gate = std::move(gate);
}
