#include <gtest/gtest.h>
#include <sdbus-c++/sdbus-c++.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <stdexcept>
#include <thread>
#include <vector>

#include "event_manager.h"
#include "platform/common_event.h"
#include "quick_fix_plume_wrapper.h"
#include "support/bus_daemon.h"

using namespace TEKLO::EventFwk;
using namespace TEKLO::QuickFixEngine;

namespace {

constexpr char SERVICE[] = "teklo.CommonEventService";
constexpr char INTERFACE[] = "teklo.CommonEvent";
constexpr char ACTION[] = "test.ACTION";
constexpr std::chrono::seconds DEADLINE{20};

CommonEventSubscribeInfo Wanting(const std::string& action) {
    MatchingSkills skills;
    skills.AddEvent(action);
    return CommonEventSubscribeInfo(skills);
}

class Listener : public CommonEventSubscriber {
public:
    explicit Listener(const std::string& action = ACTION, std::function<void(int)> react = {})
        : CommonEventSubscriber(Wanting(action)), react_(std::move(react)) {}

    void OnReceiveEvent(const CommonEventData& data) override {
        int count = 0;
        {
            const std::lock_guard<std::mutex> lock(mutex_);
            EXPECT_TRUE(GetSubscribeInfo().GetMatchingSkills().HasEvent(data.GetWant().GetAction()));
            EXPECT_FALSE(ended_) << "delivered behind the unsubscription";
            count = ++count_;
        }
        changed_.notify_all();
        if (react_) {
            react_(count);
        }
    }

    bool WaitFor(int count) {
        std::unique_lock<std::mutex> lock(mutex_);
        return changed_.wait_for(lock, DEADLINE, [&] { return count_ >= count; });
    }

    int Count() {
        const std::lock_guard<std::mutex> lock(mutex_);
        return count_;
    }

    void MarkEnded() {
        const std::lock_guard<std::mutex> lock(mutex_);
        ended_ = true;
    }

private:
    const std::function<void(int)> react_;
    std::mutex mutex_;
    std::condition_variable changed_;
    int count_ = 0;
    bool ended_ = false;
};

bool Subscribe(const std::shared_ptr<Listener>& listener) {
    return CommonEventManager::SubscribeCommonEvent(listener);
}

bool Unsubscribe(const std::shared_ptr<Listener>& listener) {
    return CommonEventManager::UnSubscribeCommonEvent(listener);
}

bool Publish(const std::string& action) {
    TEKLO::AAFwk::Want want;
    return CommonEventManager::PublishCommonEvent(CommonEventData(want.SetAction(action)));
}

/// Another program on the bus, the event service when it owns the name.
class Sender {
public:
    explicit Sender(const std::string& name)
        : connection_(sdbus::createSessionBusConnectionWithAddress(BUS_ADDRESS)),
          object_(sdbus::createObject(*connection_, "/any")) {
        connection_->requestName(name);
    }

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
        sdbus::createProxy(*connection_, "org.freedesktop.DBus", "/org/freedesktop/DBus")
            ->callMethod("ListNames")
            .onInterface("org.freedesktop.DBus")
            .storeResultsTo(names);
        return names;
    }

private:
    std::unique_ptr<sdbus::IConnection> connection_;
    std::unique_ptr<sdbus::IObject> object_;
};

/// Sends without a pause while it lives.
class Flood {
public:
    explicit Flood(const std::string& action)
        : thread_([this, action] {
              Sender sender(SERVICE);
              while (!ended_) {
                  sender.Send(action);
                  sender.Names();
              }
          }) {}
    ~Flood() {
        ended_ = true;
        thread_.join();
    }
    Flood(const Flood&) = delete;
    Flood& operator=(const Flood&) = delete;

private:
    std::atomic<bool> ended_{false};
    std::thread thread_;
};

TEST(EventBus, DeliversWhatTheServicePublishes) {
    const BusDaemon daemon;
    const auto listener = std::make_shared<Listener>();
    const auto other = std::make_shared<Listener>("test.OTHER");
    EXPECT_TRUE(Subscribe(listener));
    EXPECT_TRUE(Subscribe(listener)) << "already";
    EXPECT_TRUE(Subscribe(other));
    EXPECT_TRUE(Publish(ACTION));
    EXPECT_TRUE(listener->WaitFor(1));
    Sender fake("test.Fake");
    fake.Send(ACTION);
    fake.SendAddressed();
    fake.Names();
    {
        Sender service(SERVICE);
        EXPECT_FALSE(Publish(ACTION)) << "the name is taken";
        service.Send(uint32_t{1});
        service.Send();
        service.Send(ACTION, std::string("more"));
        service.Names();
    }
    auto publisher = std::make_unique<Sender>(SERVICE);
    std::thread end([&publisher] {
        publisher->Names();
        publisher.reset();
    });
    EXPECT_TRUE(Publish("test.OTHER")) << "waits for another publisher";
    end.join();
    EXPECT_TRUE(other->WaitFor(1));
    EXPECT_EQ(listener->Count(), 2);
    EXPECT_TRUE(Unsubscribe(listener));
    EXPECT_FALSE(Unsubscribe(listener));
    EXPECT_TRUE(Publish(ACTION));
    EXPECT_TRUE(Publish("test.OTHER"));
    EXPECT_TRUE(other->WaitFor(2));
    EXPECT_EQ(listener->Count(), 2);
    EXPECT_FALSE(Publish("no \xff text"));
    EXPECT_FALSE(CommonEventManager::SubscribeCommonEvent(nullptr));
    EXPECT_FALSE(CommonEventManager::UnSubscribeCommonEvent(nullptr));
    EXPECT_TRUE(Unsubscribe(other));
}

TEST(EventBus, MissesNoneAndServesInTurn) {
    constexpr int COUNT = 20000;
    const BusDaemon daemon;
    std::vector<std::shared_ptr<Listener>> listeners;
    const auto inTurn = [&](int) { EXPECT_GE(listeners[0]->Count(), listeners[1]->Count()); };
    listeners = {std::make_shared<Listener>(ACTION, inTurn), std::make_shared<Listener>(ACTION, inTurn)};
    EXPECT_TRUE(Subscribe(listeners[0]));
    EXPECT_TRUE(Subscribe(listeners[1]));
    Sender service(SERVICE);
    for (int i = 0; i < COUNT; ++i) {
        service.Send(ACTION);
        if (i % 100 == 0) {
            service.Names();
        }
    }
    EXPECT_TRUE(listeners[1]->WaitFor(COUNT));
    EXPECT_EQ(listeners[0]->Count(), COUNT);
    for (const auto& listener : listeners) {
        EXPECT_TRUE(Unsubscribe(listener));
    }
}

TEST(EventBus, AnAbsentBusRefusesAndALostOneIsFoundAgain) {
    unsetenv("DBUS_SESSION_BUS_ADDRESS");
    unsetenv("DBUS_SYSTEM_BUS_ADDRESS");
    const auto listener = std::make_shared<Listener>();
    BusDaemon daemon;
    daemon.Kill();
    for (const char* bus : {BUS_ADDRESS, "session", "system", "nonsense", "unix:path=/nowhere"}) {
        setenv("QUICKFIX_EVENT_BUS", bus, 1);
        EXPECT_FALSE(Subscribe(listener)) << bus;
        EXPECT_FALSE(Publish(ACTION)) << bus;
        EXPECT_FALSE(Unsubscribe(listener)) << bus;
    }
    setenv("QUICKFIX_EVENT_BUS", BUS_ADDRESS, 1);
    daemon.Start();
    EXPECT_TRUE(Subscribe(listener));
    for (int round = 0; round < 5; ++round) {
        daemon.Kill();
        daemon.Start();
        const int before = listener->Count();
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(2);
        while (listener->Count() == before && std::chrono::steady_clock::now() < deadline) {
            EXPECT_TRUE(Publish(ACTION));
        }
        EXPECT_GT(listener->Count(), before) << round;
    }
    EXPECT_TRUE(Unsubscribe(listener));
}

TEST(EventBus, AThrowingSubscriberSpoilsOneDeliveryOnly) {
    const BusDaemon daemon;
    const auto thrower = std::make_shared<Listener>(ACTION, [](int count) {
        if (count == 1) {
            throw std::runtime_error("on purpose");
        }
        throw 1;
    });
    const auto listener = std::make_shared<Listener>();
    EXPECT_TRUE(Subscribe(thrower));
    EXPECT_TRUE(Subscribe(listener));
    for (int count = 1; count <= 3; ++count) {
        EXPECT_TRUE(Publish(ACTION));
        EXPECT_TRUE(listener->WaitFor(count));
    }
    EXPECT_EQ(thrower->Count(), 3);
    EXPECT_TRUE(Unsubscribe(thrower));
    EXPECT_TRUE(Unsubscribe(listener));
}

TEST(EventBus, NothingIsDeliveredBehindAnUnsubscription) {
    const BusDaemon daemon;
    const Flood flood(ACTION);
    for (int round = 0; round < 100; ++round) {
        const auto listener = std::make_shared<Listener>();
        ASSERT_TRUE(Subscribe(listener));
        ASSERT_TRUE(listener->WaitFor(1 + round % 3));
        EXPECT_TRUE(Unsubscribe(listener));
        listener->MarkEnded();
        EXPECT_EQ(listener.use_count(), 1);
    }
}

TEST(EventBus, ADeliveryMaySubscribeAndUnsubscribe) {
    const BusDaemon daemon;
    const auto second = std::make_shared<Listener>();
    std::shared_ptr<Listener> first;
    first = std::make_shared<Listener>(ACTION, [&](int) {
        EXPECT_TRUE(Unsubscribe(first));
        EXPECT_TRUE(Subscribe(second));
    });
    EXPECT_TRUE(Subscribe(first));
    const Flood flood(ACTION);
    EXPECT_TRUE(second->WaitFor(3));
    EXPECT_EQ(first->Count(), 1);
    EXPECT_TRUE(Unsubscribe(second));
}

TEST(EventBus, AManagerMayBeDestroyedWhileEventsPourIn) {
    QuickFixPlumeWrapper::level_ = static_cast<QuickFixPlumeLevel>(INT32_MAX);
    const BusDaemon daemon;
    const Flood flood(CommonEventSupport::COMMON_EVENT_USER_ADDED);
    for (int round = 0; round < 30; ++round) {
        EventManager manager;
        manager.SubscribeEvent(CommonEventId::USER_ADDED);
        const auto deadline = std::chrono::steady_clock::now() + DEADLINE;
        while (manager.GetEventListenerRes(CommonEventId::USER_ADDED) == ListenerRes::INIT &&
               std::chrono::steady_clock::now() < deadline) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        EXPECT_EQ(manager.GetEventListenerRes(CommonEventId::USER_ADDED), ListenerRes::SUCCESS);
    }
}

TEST(EventBus, AForkedChildHasNoSubscription) {
    const BusDaemon daemon;
    const auto listener = std::make_shared<Listener>();
    ASSERT_TRUE(Subscribe(listener));
    const pid_t child = fork();
    if (child == 0) {
        alarm(20);
        _exit(Unsubscribe(listener) || Subscribe(listener) ? 1 : 7);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 7) << status;
    EXPECT_TRUE(Publish(ACTION));
    EXPECT_TRUE(listener->WaitFor(1));
    EXPECT_TRUE(Unsubscribe(listener));
}

/// Gives deliveries time to find it gone, when it goes.
class Precious {
public:
    ~Precious() {
        gone_ = true;
        Sender other("test.Other");
        for (int i = 0; i < 200; ++i) {
            other.Names();
        }
    }
    void Use() const {
        if (gone_) {
            _exit(9);
        }
    }

private:
    std::atomic<bool> gone_{false};
};

TEST(EventBus, NothingIsDeliveredToWhatTheEndOfTheProcessDestroyed) {
    const auto end = [](int exitFrom) {
        static const BusDaemon daemon;
        static const Flood flood(ACTION);
        static const Precious precious;
        const auto listener = std::make_shared<Listener>(ACTION, [exitFrom](int count) {
            precious.Use();
            count == exitFrom ? std::exit(7) : void();
        });
        Subscribe(listener);
        listener->WaitFor(10);
        std::exit(7);
    };
    EXPECT_EXIT(end(0), testing::ExitedWithCode(7), "");
    EXPECT_EXIT(end(5), testing::ExitedWithCode(7), "") << "from within a delivery";
}

}  // namespace
