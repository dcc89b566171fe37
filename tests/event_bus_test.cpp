#include <gtest/gtest.h>
#include <sdbus-c++/sdbus-c++.h>
#include <unistd.h>

#include <future>
#include <stdexcept>
#include <vector>

#include "event_manager.h"
#include "quick_fix_plume_wrapper.h"
#include "support/bus_daemon.h"
#include "support/event_listener.h"

using namespace TEKLO::EventFwk;
using namespace TEKLO::QuickFixEngine;
using namespace std::chrono_literals;

namespace {

constexpr char SERVICE[] = "teklo.CommonEventService";
constexpr char INTERFACE[] = "teklo.CommonEvent";
constexpr char ACTION[] = "test.ACTION";

constexpr auto Subscribe = CommonEventManager::SubscribeCommonEvent;
constexpr auto Unsubscribe = CommonEventManager::UnSubscribeCommonEvent;

bool Publish(const std::string& action) {
    return CommonEventManager::PublishCommonEvent(Event(action));
}

/// Another program on the bus, the event service when it owns the name.
class Sender {
public:
    explicit Sender(const std::string& name) { connection_->requestName(name); }

    template <typename... Args>
    void Send(Args&&... args) {
        object_->emitSignal("Published").onInterface(INTERFACE).withArguments(std::forward<Args>(args)...);
    }

    /// To each program on the bus alone.
    void SendAddressed() {
        for (const std::string& name : Names()) {
            auto signal = object_->createSignal(INTERFACE, "Published");
            signal << ACTION;
            signal.setDestination(name);
            object_->emitSignal(signal);
        }
    }

    /// Returns when the bus has passed on all that was sent, and counts the programs there.
    std::vector<std::string> Names() {
        std::vector<std::string> names;
        bus_->callMethod("ListNames").onInterface("org.freedesktop.DBus").storeResultsTo(names);
        return names;
    }

private:
    std::unique_ptr<sdbus::IConnection> connection_ = sdbus::createSessionBusConnectionWithAddress(BUS_ADDRESS);
    std::unique_ptr<sdbus::IObject> object_ = sdbus::createObject(*connection_, "/any");
    std::unique_ptr<sdbus::IProxy> bus_ = sdbus::createProxy(*connection_, "org.freedesktop.DBus", "/");
};

/// Sends without a pause while it lives.
struct Flood {
    explicit Flood(const std::string& action)
        : sending(std::async(std::launch::async, [this, action] {
              for (Sender sender(SERVICE); !ended; sender.Names()) {
                  sender.Send(action);
              }
          })) {}
    ~Flood() { ended = true; }

    std::atomic<bool> ended{false};
    const std::future<void> sending;  // waits in its destructor
};

/// A listener that is subscribed while what is returned lives.
std::shared_ptr<Listener> Listen(const std::string& action = ACTION, std::function<void(int)> react = {}) {
    const auto listener = std::make_shared<Listener>(action, std::move(react));
    EXPECT_TRUE(Subscribe(listener));
    return {listener.get(), [listener](Listener*) { Unsubscribe(listener); }};
}

struct EventBus : testing::Test {
    BusDaemon daemon;
};

TEST_F(EventBus, DeliversWhatTheServicePublishes) {
    const auto listener = Listen();
    const auto other = Listen("test.OTHER");
    EXPECT_TRUE(Subscribe(listener)) << "already";
    EXPECT_TRUE(Publish(ACTION) && listener->WaitFor(1));
    Sender fake("test.Fake");
    fake.Send(ACTION);
    fake.SendAddressed();
    fake.Names();
    auto service = std::make_unique<Sender>(SERVICE);
    EXPECT_FALSE(Publish(ACTION)) << "the name is taken";
    service->Send(uint32_t{1});
    service->Send();
    service->Send(ACTION, std::string("more"));
    const auto end = std::async(std::launch::async, [&service] {
        service->Names();
        service.reset();
    });
    EXPECT_TRUE(Publish("test.OTHER") && other->WaitFor(1)) << "waits for another publisher";
    EXPECT_EQ(listener->count, 2);
    EXPECT_TRUE(Unsubscribe(listener) && !Unsubscribe(listener));
    EXPECT_TRUE(Publish(ACTION) && Publish("test.OTHER") && other->WaitFor(2));
    EXPECT_EQ(listener->count, 2);
    EXPECT_FALSE(Publish("no \xff text"));
    EXPECT_FALSE(Subscribe(nullptr) || Unsubscribe(nullptr));
}

TEST_F(EventBus, MissesNoneAndServesInTurn) {
    constexpr int COUNT = 20000;
    const auto first = Listen();
    const auto second = Listen(ACTION, [first](int count) { EXPECT_GE(first->count, count); });
    Sender service(SERVICE);
    for (int sent = 0; sent < COUNT; ++sent) {
        service.Send(ACTION);
    }
    service.Names();
    EXPECT_TRUE(second->WaitFor(COUNT));
    EXPECT_EQ(first->count, COUNT);
}

TEST_F(EventBus, AnAbsentBusRefusesAndALostOneIsFoundAgain) {
    unsetenv("DBUS_SESSION_BUS_ADDRESS");
    unsetenv("DBUS_SYSTEM_BUS_ADDRESS");
    daemon.Kill();
    const auto refused = std::make_shared<Listener>(ACTION);
    for (const char* bus : {"session", "system", "nonsense", "unix:path=/nowhere", BUS_ADDRESS}) {
        setenv("QUICKFIX_EVENT_BUS", bus, 1);
        EXPECT_FALSE(Subscribe(refused) || Publish(ACTION) || Unsubscribe(refused)) << bus;
    }
    daemon.Start();
    const auto listener = Listen();
    for (int round = 0; round < 5; ++round) {
        daemon.Kill();
        daemon.Start();
        const auto isFound = [&, before = listener->count.load()] {
            EXPECT_TRUE(Publish(ACTION));
            return listener->count > before;
        };
        EXPECT_TRUE(Eventually(isFound, 2s)) << round;
    }
}

TEST_F(EventBus, AThrowingSubscriberSpoilsOneDeliveryOnly) {
    const auto thrower =
        Listen(ACTION, [](int count) { count == 1 ? throw std::runtime_error("on purpose") : throw 1; });
    const auto listener = Listen();
    for (int count = 1; count <= 3; ++count) {
        EXPECT_TRUE(Publish(ACTION) && listener->WaitFor(count)) << count;
    }
    EXPECT_EQ(thrower->count, 3);
}

TEST_F(EventBus, NothingIsDeliveredBehindAnUnsubscription) {
    const Flood flood(ACTION);
    for (int round = 0; round < 100; ++round) {
        // Some deliveries still run when they are noticed.
        const auto react = [round](int) { std::this_thread::sleep_for(round % 2 * 1ms); };
        const auto listener = std::make_shared<Listener>(ACTION, react);
        ASSERT_TRUE(Subscribe(listener));
        ASSERT_TRUE(listener->WaitFor(1 + round % 3));
        EXPECT_TRUE(Unsubscribe(listener));
        listener->ended = true;
        EXPECT_EQ(listener.use_count(), 1);
    }
}

TEST_F(EventBus, ADeliveryMaySubscribeAndUnsubscribe) {
    const auto second = std::make_shared<Listener>(ACTION);
    std::shared_ptr<Listener> first;
    first = Listen(ACTION, [&](int) { EXPECT_TRUE(Unsubscribe(first) && Subscribe(second)); });
    const Flood flood(ACTION);
    EXPECT_TRUE(second->WaitFor(3));
    EXPECT_EQ(first->count, 1);
    EXPECT_TRUE(Unsubscribe(second));
}

TEST_F(EventBus, AManagerMayBeDestroyedWhileEventsPourIn) {
    constexpr CommonEventId USER = CommonEventId::USER_ADDED;
    QuickFixPlumeWrapper::level_ = static_cast<QuickFixPlumeLevel>(INT32_MAX);
    const Flood flood(CommonEventSupport::COMMON_EVENT_USER_ADDED);
    for (int round = 0; round < 30; ++round) {
        EventManager manager;
        manager.SubscribeEvent(USER);
        EXPECT_TRUE(Eventually([&] { return manager.GetEventListenerRes(USER) == ListenerRes::SUCCESS; }));
    }
}

TEST_F(EventBus, AForkedChildHasNoSubscription) {
    const auto listener = Listen();
    EXPECT_EXIT(_exit(Unsubscribe(listener) || Subscribe(listener) ? 1 : 7), testing::ExitedWithCode(7), "");
    EXPECT_TRUE(Publish(ACTION) && listener->WaitFor(1));
}

TEST_F(EventBus, NothingIsDeliveredToWhatTheEndOfTheProcessDestroyed) {
    const auto end = [](int exitFrom) {
        static const Flood flood(ACTION);
        static std::atomic<bool> destroyed{false};
        (void)std::atexit([] {
            destroyed = true;
            std::this_thread::sleep_for(300ms);  // for deliveries to find it so
        });
        const auto listener = Listen(ACTION, [exitFrom](int count) {
            destroyed ? _exit(9) : void();
            count == exitFrom ? std::exit(7) : void();
        });
        listener->WaitFor(10);
        std::exit(7);
    };
    EXPECT_EXIT(end(0), testing::ExitedWithCode(7), "");
    EXPECT_EXIT(end(5), testing::ExitedWithCode(7), "") << "from within a delivery";
}

}  // namespace
