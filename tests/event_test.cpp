#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <ctime>
#include <functional>
#include <regex>
#include <vector>

#include "event_manager.h"
#include "event_subscriber.h"
#include "memory_platform.h"
#include "support/files.h"
#include "support/plume_capture.h"

using namespace TEKLO::EventFwk;
using namespace TEKLO::QuickFixEngine;
using TEKLO::MemoryPlatform::EventCall;
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
    std::vector<int> sleepsMs;
    std::function<void()> whileSubscribing;
} g_surroundings;

CommonEventData Event(const std::string& action) {
    TEKLO::AAFwk::Want want;
    return CommonEventData(want.SetAction(action));
}

bool NoteCall(EventCall call, CommonEventSubscriber& subscriber) {
    const MatchingSkills& skills = subscriber.GetSubscribeInfo().GetMatchingSkills();
    g_surroundings.calls.push_back(std::string(call == EventCall::SUBSCRIBE ? "subscribe" : "unsubscribe") +
                                   (skills.HasEvent(SCAN_ACTION) ? " scan" : "") +
                                   (skills.HasEvent(USER_ACTION) ? " user" : ""));
    if (call == EventCall::UNSUBSCRIBE) {
        return g_surroundings.unsubscribes;
    }
    if (g_surroundings.whileSubscribing) {
        g_surroundings.whileSubscribing();
    }
    return g_surroundings.refusals-- <= 0;
}

}  // namespace

// The library's two ways to sleep.
[[gnu::visibility("default")]] int usleep(useconds_t microseconds) {
    g_surroundings.sleepsMs.push_back(static_cast<int>(microseconds / 1000));
    return 0;
}

[[gnu::visibility("default")]] int nanosleep(const timespec* duration, timespec* /*remaining*/) {
    g_surroundings.sleepsMs.push_back(static_cast<int>(duration->tv_sec * 1000 + duration->tv_nsec / 1000000));
    return 0;
}

namespace {

class Events : public testing::Test {
protected:
    Events() { TEKLO::MemoryPlatform::SetEventGate(NoteCall); }
    ~Events() override {
        TEKLO::MemoryPlatform::SetEventGate({});
        g_surroundings = {};
    }

    Records Take() { return capture_.Take(); }

    static void Deliver(const std::string& action) { CommonEventManager::PublishCommonEvent(Event(action)); }

    PlumeCapture capture_;
};

TEST_F(Events, SubscribingIsTriedTenTimesWithASecondBehindEachRefusal) {
    for (const int refusals : {0, 2, 10}) {
        g_surroundings = {};
        g_surroundings.refusals = refusals;
        EventManager manager;
        Take();
        manager.SubscribeEvent(USER);
        Records expected = {"I SubscribeEvent: SubscribeEvent action teklo.event.USER_ADDED"};
        expected.insert(expected.end(), static_cast<size_t>(refusals),
                        "I SubscribeEvent: SubscribeEvent event teklo.event.USER_ADDED failure, will retry after 1000 "
                        "milliseconds");
        if (refusals < 10) {
            expected.emplace_back("I SubscribeEvent: SubscribeEvent event teklo.event.USER_ADDED success");
        }
        EXPECT_EQ(Take(), expected);
        EXPECT_EQ(g_surroundings.sleepsMs, std::vector<int>(static_cast<size_t>(refusals), 1000));
        EXPECT_EQ(g_surroundings.calls,
                  Records(std::min<size_t>(static_cast<size_t>(refusals) + 1, 10), "subscribe user"));
        EXPECT_EQ(manager.CheckEventListenRes(USER, 0), refusals < 10);
        EXPECT_THAT(Take(), ElementsAre(refusals < 10 ? "I CheckEventListenRes: CheckEventListenRes end, eventId 2"
                                                      : "E CheckEventListenRes: eventId 2 not SubscribeEvent"));
        manager.SubscribeEvent(USER);
        EXPECT_EQ(Take().back(), refusals < 10
                                     ? "E SubscribeEvent: SubscribeEvent commonEventId 2 had been subscribed"
                                     : "I SubscribeEvent: SubscribeEvent event teklo.event.USER_ADDED success");
    }
}

TEST_F(Events, AnEventThatCameIsSeenAtOnceAndUnsubscribed) {
    EventManager manager;
    g_surroundings.whileSubscribing = [] { Deliver(SCAN_ACTION); };
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
    g_surroundings.unsubscribes = false;
    EXPECT_TRUE(manager.CheckEventListenRes(SCAN, 5));
    EXPECT_THAT(Take(), ElementsAre("I CheckEventListenRes: Successful event listening, count 1",
                                    "I UnsubscribeEvent: UnsubscribeEvent event 1",
                                    "I UnsubscribeEvent: UnsubscribeEvent event result 0"));
    EXPECT_TRUE(g_surroundings.sleepsMs.empty());
    EXPECT_FALSE(manager.CheckEventListenRes(SCAN, 5));
    EXPECT_THAT(g_surroundings.calls, ElementsAre("subscribe scan", "unsubscribe scan"));
}

TEST_F(Events, ATimeoutReturnsTrueAndKeepsTheSubscription) {
    EventManager manager;
    manager.SubscribeEvent(SCAN);
    for (const int times : {5, 0, -1}) {
        Take();
        g_surroundings.sleepsMs.clear();
        EXPECT_TRUE(manager.CheckEventListenRes(SCAN, times));
        EXPECT_THAT(Take(), ElementsAre("I CheckEventListenRes: CheckEventListenRes end, eventId 1"));
        EXPECT_EQ(g_surroundings.sleepsMs, std::vector<int>(static_cast<size_t>(std::max(times, 0)), 100));
    }
    EXPECT_EQ(manager.GetEventListenerRes(SCAN), ListenerRes::INIT);
    EXPECT_THAT(g_surroundings.calls, ElementsAre("subscribe scan"));
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
    EXPECT_TRUE(g_surroundings.calls.empty());
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
    EXPECT_THAT(g_surroundings.calls,
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

TEST_F(Events, EachRecordIsInTheFileLogToo) {
    g_surroundings.refusals = 1;
    {
        EventManager manager;
        manager.CheckEventListenRes(SCAN, 1);
        manager.SubscribeEvent(CommonEventId::UNKNOWN);
        manager.SubscribeEvent(SCAN);
        manager.SubscribeEvent(SCAN);
        manager.CheckEventListenRes(SCAN, 0);
        manager.OnReceiveEvent(Event("other"));
        manager.OnReceiveEvent(Event(USER_ACTION));
        Deliver(SCAN_ACTION);
        manager.CheckEventListenRes(SCAN, 1);
        EventSubscriber(CommonEventSubscribeInfo(MatchingSkills())).OnReceiveEvent(Event(""));
    }
    std::string records;
    int ofSubscribers = 0;
    for (const std::string& raw : capture_.TakeRaw()) {
        const size_t place = raw.find('[');
        const size_t text = raw.find("] ") + 2;
        const bool ofSubscriber = raw.compare(place, 32, "[event_subscriber(OnReceiveEvent") == 0;
        ofSubscribers += ofSubscriber ? 1 : 0;
        EXPECT_TRUE(ofSubscriber || raw.compare(place, 15, "[event_manager(") == 0) << raw;
        records += raw.substr(place, text - place - 1) + raw.substr(text) + "\n";
    }
    EXPECT_EQ(ofSubscribers, 3);
    EXPECT_EQ(std::regex_replace(Read(FIRST_LOG), std::regex("[0-9 :.-]{23}(\\[)"), "$1"), records);
}

}  // namespace
