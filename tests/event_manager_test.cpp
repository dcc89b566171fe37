#include "event_manager.h"

#include "event_subscriber.h"
#include "platform/memory_platform.h"
#include "support/event_listener.h"
#include "support/test.h"

using namespace TEKLO::EventFwk;
using TEKLO::MemoryPlatform::EventCall;

namespace {

std::function<void(long)> g_sleep = [](long /*milliseconds*/) {};

}  // namespace

// Replace the functions that the library sleeps with.
[[gnu::visibility("default")]] int usleep(useconds_t microseconds) {
    g_sleep(microseconds / 1000);
    return 0;
}

[[gnu::visibility("default")]] int nanosleep(const timespec* duration, timespec* /*remaining*/) {
    g_sleep(duration->tv_sec * 1000 + duration->tv_nsec / 1000000);
    return 0;
}

namespace {

constexpr CommonEventId SCAN = CommonEventId::BUNDLE_SCAN_FINISHED;
constexpr CommonEventId USER = CommonEventId::USER_ADDED;

std::string Action(CommonEventId id) {
    return id == SCAN ? CommonEventSupport::COMMON_EVENT_BUNDLE_SCAN_FINISHED
                      : CommonEventSupport::COMMON_EVENT_USER_ADDED;
}

/// A manager on the platform in memory. Collects records, sleeps and platform calls in their order.
class EventManagers : public testing::Test {
protected:
    EventManagers() {
        g_sleep = [this](long milliseconds) { Note("sleep " + std::to_string(milliseconds)); };
        TEKLO::MemoryPlatform::SetEventGate([this](EventCall call, const CommonEventSubscriber& subscriber) {
            std::string line = call == EventCall::SUBSCRIBE ? "subscribe" : "unsubscribe";
            for (const auto& [id, action] : g_eventIdToActionMap) {
                line += subscriber.GetSubscribeInfo().GetMatchingSkills().HasEvent(action) ? " " + action : "";
            }
            Note(line);
            std::exchange(during_, [] {})();
            return refusals_-- <= 0;
        });
        manager_.emplace();
        EXPECT_EQ(TakeLines(), "I EventManager: EventManager::EventManager\n");
    }
    ~EventManagers() override {
        g_sleep = [](long /*milliseconds*/) {};
        TEKLO::MemoryPlatform::SetEventGate({});
    }

    /// Returns the lines since the last call.
    std::string TakeLines() { return Note(""), std::exchange(seen_, ""); }
    void Note(const std::string& line) {
        for (const std::string& record : capture_.TakeFromBothLogs()) {
            seen_ += record + "\n";
        }
        seen_ += line.empty() ? "" : line + "\n";
    }
    static void Deliver(CommonEventId id) { CommonEventManager::PublishCommonEvent(Event(Action(id))); }

    // Expected lines of a call.
    static std::string Line(const std::string& text, CommonEventId id) {
        return text + " " + std::to_string(static_cast<int>(id)) + "\n";
    }
    static std::string Subscribed(CommonEventId id, int refusals = 0, const std::string& early = "") {
        const std::string event = "I SubscribeEvent: SubscribeEvent event " + Action(id);
        std::string seen = "I SubscribeEvent: SubscribeEvent action " + Action(id) + "\n";
        for (int i = 0; i < refusals; ++i) {
            seen +=
                "subscribe " + Action(id) + "\n" + event + " failure, will retry after 1000 milliseconds\nsleep 1000\n";
        }
        return seen + (refusals < 10 ? "subscribe " + Action(id) + "\n" + early + event + " success\n" : "");
    }
    static std::string NotSubscribed(CommonEventId id) {
        return Line("I UnsubscribeEvent: UnsubscribeEvent event", id);
    }
    static std::string Unsubscribed(CommonEventId id, const std::string& result = "1") {
        return NotSubscribed(id) + "unsubscribe " + Action(id) +
               "\nI UnsubscribeEvent: UnsubscribeEvent event result " + result + "\n";
    }
    static std::string Received(CommonEventId id) {
        return "I OnReceiveEvent: OnReceiveEvent get action: " + Action(id) + "\nI OnReceiveEvent: COMMON_EVENT_" +
               (id == SCAN ? "BUNDLE_SCAN_FINISHED" : "USER_ADDED") + " success\n";
    }
    static std::string Delivered(CommonEventId id) {
        return "I OnReceiveEvent: OnReceiveEvent get action: " + Action(id) + "\n" + Received(id);
    }

    static std::string Unknown(const std::string& action) {
        return "I GetEventId: GetEventId unknown action " + action +
               "\nI OnReceiveEvent: OnReceiveEvent get action: " + action +
               "\nE OnReceiveEvent: OnReceiveEvent failed, empty action\n";
    }

    PlumeCapture capture_;
    std::string seen_;
    std::optional<EventManager> manager_;
    int refusals_ = 0;
    std::function<void()> during_ = [] {};  // runs during the next platform call
    const std::string ended_ = "I ~EventManager: EventManager::~EventManager\n";
    const std::string arrived_ = "I CheckEventListenRes: Successful event listening, count 1\n";
    const std::string unknown_ = "E CheckEventListenRes: eventId 1 not SubscribeEvent\n";
};

TEST_F(EventManagers, TryToSubscribeUpToTenTimes) {
    for (const int refusals : {0, 9, 10}) {
        refusals_ = refusals;
        manager_->SubscribeEvent(SCAN);
        EXPECT_EQ(TakeLines(), Subscribed(SCAN, refusals));
        EXPECT_EQ(manager_->CheckEventListenRes(SCAN, 0), refusals < 10)
            << "only this reveals that all attempts failed";
        EXPECT_EQ(TakeLines(),
                  refusals < 10 ? Line("I CheckEventListenRes: CheckEventListenRes end, eventId", SCAN) : unknown_);
        manager_->UnsubscribeEvent(SCAN);
        EXPECT_EQ(TakeLines(), refusals < 10 ? Unsubscribed(SCAN) : NotSubscribed(SCAN));
    }
    manager_->SubscribeEvent(USER);
    manager_->SubscribeEvent(USER);
    EXPECT_EQ(TakeLines(), Subscribed(USER) + "E SubscribeEvent: SubscribeEvent commonEventId 2 had been subscribed\n");
    manager_.reset();
    EXPECT_EQ(TakeLines(), ended_ + NotSubscribed(SCAN) + Unsubscribed(USER));
}

TEST_F(EventManagers, KeepAnEventThatArrivesBeforeTheSubscriptionReturns) {
    during_ = [] { Deliver(SCAN); };
    manager_->SubscribeEvent(SCAN);
    EXPECT_EQ(TakeLines(), Subscribed(SCAN, 0, Delivered(SCAN)));
    EXPECT_EQ(manager_->GetEventListenerRes(SCAN), ListenerRes::SUCCESS);
    refusals_ = 1;
    EXPECT_TRUE(manager_->CheckEventListenRes(SCAN, 5));
    EXPECT_EQ(TakeLines(), arrived_ + Unsubscribed(SCAN, "0"));
    EXPECT_FALSE(manager_->CheckEventListenRes(SCAN, 5));
    EXPECT_EQ(manager_->GetEventListenerRes(SCAN), ListenerRes::INIT);
    EXPECT_EQ(TakeLines(), unknown_);
}

TEST_F(EventManagers, StaySubscribedAndReturnTrueAfterATimeout) {
    manager_->SubscribeEvent(SCAN);
    EXPECT_EQ(TakeLines(), Subscribed(SCAN));
    for (const int times : {2, 0, -1}) {
        EXPECT_TRUE(manager_->CheckEventListenRes(SCAN, times));
        EXPECT_EQ(TakeLines(), (times == 2 ? "sleep 100\nsleep 100\n" : "") +
                                   Line("I CheckEventListenRes: CheckEventListenRes end, eventId", SCAN));
    }
    Deliver(USER);
    EXPECT_EQ(manager_->GetEventListenerRes(SCAN), ListenerRes::INIT);
    Deliver(SCAN);
    EXPECT_TRUE(manager_->CheckEventListenRes(SCAN, 1));
    EXPECT_EQ(TakeLines(), Delivered(SCAN) + arrived_ + Unsubscribed(SCAN));
}

TEST_F(EventManagers, IgnoreAnEventBeforeItsSubscription) {
    manager_->OnReceiveEvent(Event(Action(SCAN)));
    EXPECT_EQ(manager_->GetEventListenerRes(SCAN), ListenerRes::INIT);
    EXPECT_FALSE(manager_->CheckEventListenRes(SCAN, 1));
    EXPECT_EQ(TakeLines(), Received(SCAN) + unknown_);
    for (int round = 0; round < 2; ++round) {
        manager_->SubscribeEvent(SCAN);
        EXPECT_EQ(manager_->GetEventListenerRes(SCAN), ListenerRes::INIT);
        Deliver(SCAN);
        EXPECT_EQ(TakeLines(), Subscribed(SCAN) + Delivered(SCAN));
        manager_->UnsubscribeEvent(USER);
        EXPECT_EQ(manager_->GetEventListenerRes(SCAN), ListenerRes::SUCCESS) << "after unsubscribing the other event";
        manager_->UnsubscribeEvent(SCAN);
        EXPECT_EQ(TakeLines(), NotSubscribed(USER) + Unsubscribed(SCAN));
    }
}

TEST_F(EventManagers, KeepBothEventsApartAndUnsubscribeBothAtTheEnd) {
    manager_->SubscribeEvent(USER);
    manager_->SubscribeEvent(SCAN);
    Deliver(USER);
    EXPECT_EQ(manager_->GetEventListenerRes(SCAN), ListenerRes::INIT);
    EXPECT_EQ(manager_->GetEventListenerRes(USER), ListenerRes::SUCCESS);
    EXPECT_EQ(TakeLines(), Subscribed(USER) + Subscribed(SCAN) + Delivered(USER));
    manager_.reset();
    EXPECT_EQ(TakeLines(), ended_ + Unsubscribed(SCAN) + Unsubscribed(USER));
}

TEST_F(EventManagers, RefuseUnknownEventsAndActions) {
    for (const int number : {0, 3, -1}) {
        manager_->SubscribeEvent(static_cast<CommonEventId>(number));
        EXPECT_EQ(TakeLines(), "I GetAction: GetAction unknown event " + std::to_string(number) +
                                   "\nE SubscribeEvent: SubscribeEvent action is empty\n");
    }
    const std::string known = Action(USER);
    for (const std::string& action : {std::string(), " " + known, known + " more", known.substr(0, known.size() - 1),
                                      std::string("TEKLO.EVENT.USER_ADDED")}) {
        manager_->OnReceiveEvent(Event(action));
        EXPECT_EQ(TakeLines(), Unknown(action));
    }
}

TEST_F(EventManagers, AreOptionalForASubscriberThatOnlyLogs) {
    EventSubscriber(CommonEventSubscribeInfo(MatchingSkills())).OnReceiveEvent(Event("any"));
    EXPECT_EQ(TakeLines(),
              "I OnReceiveEvent: OnReceiveEvent get action: any\n"
              "I OnReceiveEvent: OnReceiveEvent commonEventReceiver_ is null\n");
}

TEST(EventSubscribers, ForwardTheSameEventObject) {
    struct Receiver : IEventReceiver {
        void OnReceiveEvent(const CommonEventData& data) override { received = &data; }
        const CommonEventData* received = nullptr;
    } receiver;
    const CommonEventData event;
    EventSubscriber(CommonEventSubscribeInfo(MatchingSkills()), &receiver).OnReceiveEvent(event);
    EXPECT_EQ(receiver.received, &event);
}

TEST_F(EventManagers, MapEachEventToOneAction) {
    for (const CommonEventId id : {SCAN, USER}) {
        EXPECT_EQ(g_eventIdToActionMap.at(id), Action(id));
        EXPECT_EQ(g_actionToEventIdMap.at(Action(id)), id);
        EXPECT_EQ(manager_->GetEventId(Action(id)), id);
    }
    EXPECT_TRUE(g_eventIdToActionMap.size() == 2 && g_actionToEventIdMap.size() == 2);
}

}  // namespace
