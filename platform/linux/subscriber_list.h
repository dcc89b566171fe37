#pragma once

#include <condition_variable>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <thread>

#include "platform/common_event.h"

namespace TEKLO::Platform {

/// Who hears of broadcasts. One thread delivers; any thread adds and removes, also from within a delivery.
class SubscriberList {
public:
    using Subscriber = std::shared_ptr<EventFwk::CommonEventSubscriber>;

    /// False for one that is in the list already.
    bool Add(const Subscriber& subscriber);

    /// Waits for the end of a running delivery to the subscriber, unless called from within a delivery; afterwards the
    /// list keeps no share in it. False when it wasn't in the list.
    bool Remove(const Subscriber& subscriber);

    bool IsEmpty() const;

    /// To all that were in the list when it began and still are when it is their turn, in the order they were added.
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
