#pragma once

#include <condition_variable>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <thread>

#include "platform/common_event.h"

namespace TEKLO::Platform {

/// The subscribers. One thread delivers. Any thread may add and remove, even during a delivery.
class SubscriberList {
public:
    using Subscriber = std::shared_ptr<EventFwk::CommonEventSubscriber>;

    /// Returns false if the subscriber is already in the list.
    bool Add(const Subscriber& subscriber);

    /// Removes the subscriber, and waits until a running delivery to it has ended, unless called from a delivery. The
    /// list does not own the subscriber afterwards. Returns false if the subscriber was not in the list.
    bool Remove(const Subscriber& subscriber);

    bool IsEmpty() const;

    /// Delivers in the order of addition. Skips subscribers that are added or removed during the call.
    void Deliver(const EventFwk::CommonEventData& data);

private:
    std::map<uint64_t, Subscriber>::iterator Find(const Subscriber& subscriber);

    mutable std::mutex mutex_;
    std::condition_variable delivered_;
    std::map<uint64_t, Subscriber> subscribers_;
    uint64_t nextNumber_ = 0;
    const void* currentSubscriber_ = nullptr;
    std::thread::id deliveryThread_;
};

}  // namespace TEKLO::Platform
