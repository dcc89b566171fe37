#include "event_subscriber.h"

#include <gtest/gtest.h>

#include "support/event_listener.h"
#include "support/plume_capture.h"

using namespace TEKLO::EventFwk;
using namespace TEKLO::QuickFixEngine;

namespace {

const CommonEventSubscribeInfo NO_ACTIONS{MatchingSkills()};

TEST(EventSubscribers, ForwardTheVeryEvent) {
    struct Receiver : IEventReceiver {
        void OnReceiveEvent(const CommonEventData& data) override { received = &data; }
        const CommonEventData* received = nullptr;
    } receiver;
    const CommonEventData empty;
    EventSubscriber(NO_ACTIONS, &receiver).OnReceiveEvent(empty);
    EXPECT_EQ(receiver.received, &empty);
}

TEST(EventSubscribers, WithoutAReceiverOnlyRecordTheEvent) {
    PlumeCapture capture;
    EventSubscriber(NO_ACTIONS).OnReceiveEvent(Event("any"));
    EXPECT_EQ(capture.TakeFromBothLogs(), (Records{"I OnReceiveEvent: OnReceiveEvent get action: any",
                                                   "I OnReceiveEvent: OnReceiveEvent commonEventReceiver_ is null"}));
}

}  // namespace
