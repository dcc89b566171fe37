#include "subscriber_list.h"

#include <algorithm>
#include <exception>
#include <string>

#include "event_bus.h"

namespace TEKLO::Platform {

using EventFwk::CommonEventData;

namespace {

void DeliverNoThrow(EventFwk::CommonEventSubscriber& subscriber, const CommonEventData& data) {
    constexpr char what[] = "a subscriber threw an exception";
    try {
        subscriber.OnReceiveEvent(data);
    } catch (const std::exception& error) {
        LogEventWarning(what, error.what());
    } catch (...) {
        LogEventWarning(what, "not derived from std::exception");
    }
}

}  // namespace

std::map<uint64_t, SubscriberList::Subscriber>::iterator SubscriberList::Find(const Subscriber& subscriber) {
    return std::find_if(subscribers_.begin(), subscribers_.end(),
                        [&subscriber](const auto& entry) { return entry.second == subscriber; });
}

bool SubscriberList::Add(const Subscriber& subscriber) {
    const std::lock_guard<std::mutex> lock(mutex_);
    return Find(subscriber) == subscribers_.end() && subscribers_.emplace(nextNumber_++, subscriber).second;
}

bool SubscriberList::Remove(const Subscriber& subscriber) {
    std::unique_lock<std::mutex> lock(mutex_);
    const auto entry = Find(subscriber);
    const bool found = entry != subscribers_.end();
    if (found) {
        subscribers_.erase(entry);
    }
    delivered_.wait(
        lock, [&] { return currentSubscriber_ != subscriber.get() || deliveryThread_ == std::this_thread::get_id(); });
    return found;
}

bool SubscriberList::IsEmpty() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return subscribers_.empty();
}

void SubscriberList::Deliver(const CommonEventData& data) {
    const std::string action = data.GetWant().GetAction();
    std::unique_lock<std::mutex> lock(mutex_);
    deliveryThread_ = std::this_thread::get_id();
    const uint64_t end = nextNumber_;
    // A subscriber may change the list, so find the next entry by number.
    uint64_t number = 0;
    for (auto entry = subscribers_.begin(); entry != subscribers_.end() && entry->first < end;
         entry = subscribers_.lower_bound(number)) {
        number = entry->first + 1;
        Subscriber subscriber = entry->second;
        if (!subscriber->GetSubscribeInfo().GetMatchingSkills().HasEvent(action)) {
            continue;
        }
        currentSubscriber_ = subscriber.get();
        lock.unlock();
        DeliverNoThrow(*subscriber, data);
        // Releases the subscriber without the lock, because its destructor can take long, and before Remove returns.
        subscriber.reset();
        lock.lock();
        currentSubscriber_ = nullptr;
        delivered_.notify_all();
    }
}

}  // namespace TEKLO::Platform
