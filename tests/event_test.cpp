#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <functional>
#include <vector>

#include "event_manager.h"
#include "event_subscriber.h"
#include "support/plume_capture.h"

using namespace TEKLO::EventFwk;
using namespace TEKLO::QuickFixEngine;
using std::chrono::steady_clock;
using testing::ElementsAre;

namespace {

constexpr CommonEventId SCAN = CommonEventId::BUNDLE_SCAN_FINISHED;
constexpr CommonEventId USER = CommonEventId::USER_ADDED;
constexpr char SCAN_ACTION[] = "teklo.event.BUNDLE_SCAN_FINISHED";
constexpr char USER_ACTION[] = "teklo.event.USER_ADDED";

struct {
    int refusals = 0;
    bool unsubscribes = true;
    Records calls;
    std::vector<useconds_t> sleeps;
    std::shared_ptr<CommonEventSubscriber> subscriber;
    std::function<void()> whileSubscribing;
} g_platform;

CommonEventData Event(const std::string& action) {
    TEKLO::AAFwk::Want want;
    return CommonEventData(want.SetAction(action));
}

void NoteCall(const std::string& call, const CommonEventSubscriber& subscriber) {
    const MatchingSkills& skills = subscriber.GetSubscribeInfo().GetMatchingSkills();
    g_platform.calls.push_back(call + (skills.HasEvent(SCAN_ACTION) ? " scan" : "") +
                               (skills.HasEvent(USER_ACTION) ? " user" : ""));
}

}  // namespace

// These take the place of the port's for the whole test program, the library's calls included.
bool CommonEventManager::SubscribeCommonEvent(const std::shared_ptr<CommonEventSubscriber>& subscriber) {
    NoteCall("subscribe", *subscriber);
    g_platform.subscriber = subscriber;
    if (g_platform.whileSubscribing) {
        g_platform.whileSubscribing();
    }
    return g_platform.refusals-- <= 0;
}

bool CommonEventManager::UnSubscribeCommonEvent(const std::shared_ptr<CommonEventSubscriber>& subscriber) {
    NoteCall("unsubscribe", *subscriber);
    return g_platform.unsubscribes;
}

[[gnu::visibility("default")]] int usleep(useconds_t microseconds) {
    g_platform.sleeps.push_back(microseconds);
    return 0;
}

namespace {

class Events : public testing::Test {
protected:
    Events() { g_platform = {}; }
    ~Events() override { g_platform = {}; }

    Records Take() { return capture_.Take(); }

    static void Deliver(const std::string& action) { g_platform.subscriber->OnReceiveEvent(Event(action)); }

    PlumeCapture capture_;
};

TEST_F(Events, SubscribingIsTriedTenTimesWithASecondBehindEachRefusal) {
    for (const int refusals : {0, 2, 10}) {
        g_platform = {};
        g_platform.refusals = refusals;
        EventManager manager;
        Take();
        const auto begin = steady_clock::now();
        manager.SubscribeEvent(USER);
        const auto elapsed = steady_clock::now() - begin;
        Records expected = {"I SubscribeEvent: SubscribeEvent action teklo.event.USER_ADDED"};
        expected.insert(expected.end(), static_cast<size_t>(refusals),
                        "I SubscribeEvent: SubscribeEvent event teklo.event.USER_ADDED failure, will retry after 1000 "
                        "milliseconds");
        if (refusals < 10) {
            expected.emplace_back("I SubscribeEvent: SubscribeEvent event teklo.event.USER_ADDED success");
        }
        EXPECT_EQ(Take(), expected);
        EXPECT_GE(elapsed, std::chrono::seconds(refusals));
        EXPECT_LT(elapsed, std::chrono::seconds(refusals + 1));
        EXPECT_EQ(g_platform.calls, Records(std::min<size_t>(static_cast<size_t>(refusals) + 1, 10), "subscribe user"));
        EXPECT_EQ(manager.CheckEventListenRes(USER, 0), refusals < 10);
        EXPECT_THAT(Take(), ElementsAre(refusals < 10 ? "I CheckEventListenRes: CheckEventListenRes end, eventId 2"
                                                      : "E CheckEventListenRes: eventId 2 not SubscribeEvent"));
    }
}

TEST_F(Events, AnEventThatCameIsSeenAtOnceAndUnsubscribed) {
    EventManager manager;
    g_platform.whileSubscribing = [] { Deliver(SCAN_ACTION); };
    manager.SubscribeEvent(SCAN);
    EXPECT_THAT(Take(), ElementsAre("I EventManager: EventManager::EventManager",
                                    "I SubscribeEvent: SubscribeEvent action teklo.event.BUNDLE_SCAN_FINISHED",
                                    "I OnReceiveEvent: OnReceiveEvent get action: teklo.event.BUNDLE_SCAN_FINISHED",
                                    "I OnReceiveEvent: OnReceiveEvent get action: teklo.event.BUNDLE_SCAN_FINISHED",
                                    "I OnReceiveEvent: COMMON_EVENT_BUNDLE_SCAN_FINISHED success",
                                    "I SubscribeEvent: SubscribeEvent event teklo.event.BUNDLE_SCAN_FINISHED success"));
    manager.SubscribeEvent(SCAN);
    EXPECT_THAT(Take(), ElementsAre("E SubscribeEvent: SubscribeEvent commonEventId 1 had been subscribed"));
    EXPECT_EQ(manager.GetEventListenerRes(SCAN), ListenerRes::SUCCESS);
    g_platform.unsubscribes = false;
    EXPECT_TRUE(manager.CheckEventListenRes(SCAN, 5));
    EXPECT_THAT(Take(), ElementsAre("I CheckEventListenRes: Successful event listening, count 1",
                                    "I UnsubscribeEvent: UnsubscribeEvent event 1",
                                    "I UnsubscribeEvent: UnsubscribeEvent event result 0"));
    EXPECT_TRUE(g_platform.sleeps.empty());
    EXPECT_FALSE(manager.CheckEventListenRes(SCAN, 5));
    EXPECT_THAT(g_platform.calls, ElementsAre("subscribe scan", "unsubscribe scan"));
}

TEST_F(Events, ATimeoutReturnsTrueAndKeepsTheSubscription) {
    EventManager manager;
    manager.SubscribeEvent(SCAN);
    for (const int times : {5, 0, -1}) {
        Take();
        g_platform.sleeps.clear();
        EXPECT_TRUE(manager.CheckEventListenRes(SCAN, times));
        EXPECT_THAT(Take(), ElementsAre("I CheckEventListenRes: CheckEventListenRes end, eventId 1"));
        EXPECT_EQ(g_platform.sleeps, std::vector<useconds_t>(static_cast<size_t>(std::max(times, 0)), 100000));
    }
    EXPECT_EQ(manager.GetEventListenerRes(SCAN), ListenerRes::INIT);
    EXPECT_THAT(g_platform.calls, ElementsAre("subscribe scan"));
}

TEST_F(Events, AStrayEventIsForgottenBySubscribing) {
    EventManager manager;
    manager.OnReceiveEvent(Event(USER_ACTION));
    EXPECT_EQ(Take().back(), "I OnReceiveEvent: COMMON_EVENT_USER_ADDED success");
    EXPECT_EQ(manager.GetEventListenerRes(USER), ListenerRes::INIT) << "not subscribed";
    manager.SubscribeEvent(USER);
    EXPECT_EQ(manager.GetEventListenerRes(USER), ListenerRes::INIT);
    Deliver(USER_ACTION);
    EXPECT_EQ(manager.GetEventListenerRes(USER), ListenerRes::SUCCESS);
    EXPECT_EQ(manager.GetEventListenerRes(SCAN), ListenerRes::INIT);
    Take();
    manager.UnsubscribeEvent(SCAN);
    EXPECT_THAT(Take(), ElementsAre("I UnsubscribeEvent: UnsubscribeEvent event 1"));
    EXPECT_EQ(manager.GetEventListenerRes(USER), ListenerRes::SUCCESS);
}

TEST_F(Events, UnknownEventsAndActions) {
    EventManager manager;
    for (const int id : {0, 3, -1}) {
        Take();
        manager.SubscribeEvent(static_cast<CommonEventId>(id));
        EXPECT_THAT(Take(), ElementsAre("I GetAction: GetAction unknown event " + std::to_string(id),
                                        "E SubscribeEvent: SubscribeEvent action is empty"));
        EXPECT_FALSE(manager.CheckEventListenRes(static_cast<CommonEventId>(id), 1));
    }
    EXPECT_TRUE(g_platform.calls.empty());
    for (const std::string action : {"", "teklo.event.USER_ADDED ", "TEKLO.EVENT.USER_ADDED", "teklo.event.USER"}) {
        Take();
        manager.OnReceiveEvent(Event(action));
        EXPECT_THAT(Take(), ElementsAre("I GetEventId: GetEventId unknown action " + action,
                                        "I OnReceiveEvent: OnReceiveEvent get action: " + action,
                                        "E OnReceiveEvent: OnReceiveEvent failed, empty action"));
    }
    for (const auto& [id, action] : g_eventIdToActionMap) {
        EXPECT_EQ(manager.GetAction(id), action);
        EXPECT_EQ(manager.GetEventId(action), id);
        EXPECT_EQ(g_actionToEventIdMap.at(action), id);
    }
    EXPECT_EQ(g_eventIdToActionMap.size(), 2U);
    EXPECT_EQ(g_actionToEventIdMap.size(), 2U);
}

TEST_F(Events, TheDestructorUnsubscribesWhatIsLeft) {
    {
        EventManager manager;
        manager.SubscribeEvent(USER);
        manager.SubscribeEvent(SCAN);
        manager.UnsubscribeEvent(SCAN);
        Take();
    }
    EXPECT_THAT(Take(), ElementsAre("I ~EventManager: EventManager::~EventManager",
                                    "I UnsubscribeEvent: UnsubscribeEvent event 1",
                                    "I UnsubscribeEvent: UnsubscribeEvent event 2",
                                    "I UnsubscribeEvent: UnsubscribeEvent event result 1"));
    EXPECT_THAT(g_platform.calls,
                ElementsAre("subscribe user", "subscribe scan", "unsubscribe scan", "unsubscribe user"));
}

TEST_F(Events, TheSubscriberForwardsTheVeryEvent) {
    struct Receiver : IEventReceiver {
        void OnReceiveEvent(const CommonEventData& data) override { received.push_back(&data); }
        std::vector<const CommonEventData*> received;
    } receiver;
    const CommonEventSubscribeInfo info{MatchingSkills()};
    const CommonEventData empty;
    EventSubscriber(info, &receiver).OnReceiveEvent(empty);
    EXPECT_THAT(receiver.received, ElementsAre(&empty));
    EXPECT_THAT(Take(), ElementsAre("I OnReceiveEvent: OnReceiveEvent get action: "));
    EventSubscriber(info).OnReceiveEvent(Event("any"));
    EXPECT_THAT(Take(), ElementsAre("I OnReceiveEvent: OnReceiveEvent get action: any",
                                    "I OnReceiveEvent: OnReceiveEvent commonEventReceiver_ is null"));
}

}  // namespace
