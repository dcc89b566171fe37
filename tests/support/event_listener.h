#pragma once

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <functional>
#include <string>
#include <thread>
#include <utility>

#include "platform/common_event.h"

inline TEKLO::EventFwk::CommonEventData Event(const std::string& action) {
    TEKLO::AAFwk::Want want;
    return TEKLO::EventFwk::CommonEventData(want.SetAction(action));
}

template <typename Condition>
bool Eventually(Condition holds, std::chrono::seconds limit = std::chrono::seconds(20)) {
    const auto deadline = std::chrono::steady_clock::now() + limit;
    while (!holds() && std::chrono::steady_clock::now() < deadline) {
        std::this_thread::sleep_for(std::chrono::microseconds(100));
    }
    return holds();
}

/// Counts deliveries. Aborts on an event to which it isn't subscribed, and on any event after `ended` is set.
struct Listener : TEKLO::EventFwk::CommonEventSubscriber {
    explicit Listener(const std::string& action, std::function<void(int)> reaction = {})
        : CommonEventSubscriber(SubscribeInfoFor(action)), react(std::move(reaction)) {}

    void OnReceiveEvent(const TEKLO::EventFwk::CommonEventData& data) override {
        const int received = ++count;
        if (react) {
            react(received);
        }
        if (ended || !GetSubscribeInfo().GetMatchingSkills().HasEvent(data.GetWant().GetAction())) {
            std::abort();
        }
    }

    bool WaitFor(int number) {
        return Eventually([&] { return count >= number; });
    }

    const std::function<void(int)> react;
    std::atomic<int> count{0};
    std::atomic<bool> ended{false};

private:
    static TEKLO::EventFwk::CommonEventSubscribeInfo SubscribeInfoFor(const std::string& action) {
        TEKLO::EventFwk::MatchingSkills skills;
        skills.AddEvent(action);
        return TEKLO::EventFwk::CommonEventSubscribeInfo(skills);
    }
};
