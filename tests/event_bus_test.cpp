#include "event_manager.h"
#include "support/bus_daemon.h"
#include "support/event_listener.h"
#include "support/test.h"

using namespace TEKLO::EventFwk;
using namespace std::chrono_literals;
using namespace std::string_literals;

namespace {

constexpr char SERVICE[] = "teklo.CommonEventService";
constexpr char INTERFACE[] = "teklo.CommonEvent";
constexpr char ACTION[] = "test.ACTION";

constexpr auto Subscribe = CommonEventManager::SubscribeCommonEvent;
constexpr auto Unsubscribe = CommonEventManager::UnSubscribeCommonEvent;

bool Publish(const std::string& action) {
    return CommonEventManager::PublishCommonEvent(Event(action));
}

/// Another program on the bus, which owns the name `name`. With the name SERVICE, it is the event service.
class Sender {
public:
    explicit Sender(const char* name) : bus_(ConnectAs(name)) {}

    template <typename... Args>
    void Send(const char* types, Args... args) {
        EXPECT_GE(sd_bus_emit_signal(bus_.get(), "/any", INTERFACE, "Published", types, args...), 0);
    }

    /// Sends the signal to each name on the bus instead of broadcasting it.
    void SendAddressed() {
        for (const std::string& name : Names()) {
            sd_bus_message* signal = nullptr;
            sd_bus_message_new_signal(bus_.get(), &signal, "/any", INTERFACE, "Published");
            sd_bus_message_append(signal, "s", ACTION);
            EXPECT_GE(sd_bus_send_to(bus_.get(), signal, name.c_str(), nullptr), 0);
            sd_bus_message_unref(signal);
        }
    }

    /// Returns the names on the bus. By then, the bus has passed on all earlier signals of this sender.
    std::vector<std::string> Names() {
        char** names = nullptr;
        EXPECT_GE(sd_bus_list_names(bus_.get(), &names, nullptr), 0);
        std::vector<std::string> listed;
        for (char** name = names; name != nullptr && *name != nullptr; ++name) {
            listed.emplace_back(*name);
            free(*name);
        }
        free(names);
        return listed;
    }

private:
    const BusClient bus_;
};

/// Sends signals without a pause for its lifetime.
struct Flood {
    explicit Flood(const std::string& action)
        : sending(std::async(std::launch::async, [this, action] {
              for (Sender sender(SERVICE); !ended; sender.Names()) {
                  sender.Send("s", action.c_str());
              }
          })) {}
    ~Flood() { ended = true; }

    std::atomic<bool> ended{false};
    const std::future<void> sending;  // the destructor waits for the thread
};

/// Accepts connections at the address of the bus. Sends `first` to each client, then repeats `endless`.
class FakeBus {
public:
    explicit FakeBus(const std::string& first, const std::string& endless = "") {
        const sockaddr_un address = {AF_UNIX, "/tmp/bus"};
        unlink(address.sun_path);
        EXPECT_EQ(bind(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof(address)), 0);
        listen(socket_, 16);
        accepting_ = std::async(std::launch::async, [this, first, endless] {
            for (int client = Accept(); client >= 0; client = Accept()) {
                clients_.push_back(client);
                SendTo(client, first);
                while (!endless.empty() && SendTo(client, endless)) {
                }
            }
        });
    }
    ~FakeBus() {
        shutdown(socket_, SHUT_RDWR);
        accepting_.wait();
        std::for_each(clients_.begin(), clients_.end(), close);
        close(socket_);
    }

    std::atomic<int> accepted{0};

private:
    int Accept() {
        const int client = accept(socket_, nullptr, nullptr);
        accepted += client >= 0 ? 1 : 0;
        return client;
    }
    static bool SendTo(int client, const std::string& bytes) {
        return send(client, bytes.data(), bytes.size(), MSG_NOSIGNAL) >= 0;
    }

    const int socket_ = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    std::vector<int> clients_;
    std::future<void> accepting_;
};

/// Returns true if the call returns `result` within 5 seconds.
template <typename Call>
bool ReturnsInTime(bool result, Call call) {
    const auto start = std::chrono::steady_clock::now();
    return call() == result && std::chrono::steady_clock::now() - start < 5s;
}

/// Returns a listener that stays subscribed while the pointer exists.
std::shared_ptr<Listener> Listen(const std::string& action = ACTION, std::function<void(int)> react = {}) {
    const auto listener = std::make_shared<Listener>(action, std::move(react));
    EXPECT_TRUE(Subscribe(listener));
    return {listener.get(), [listener](Listener*) { Unsubscribe(listener); }};
}

struct EventBus : testing::Test {
    BusDaemon daemon;
};

TEST_F(EventBus, DeliversOnlySignalsOfTheEventService) {
    const auto listener = Listen();
    const auto other = Listen("test.OTHER");
    EXPECT_TRUE(Publish(ACTION) && listener->WaitFor(1));
    Sender fake("test.Fake");
    fake.Send("s", ACTION);
    fake.SendAddressed();
    fake.Names();
    auto service = std::make_unique<Sender>(SERVICE);
    EXPECT_FALSE(Publish(ACTION)) << "the name is taken";
    service->Send("u", 1U);
    service->Send("");
    service->Send("ss", ACTION, "more");
    const auto end = std::async(std::launch::async, [&service] {
        service->Names();
        service.reset();
    });
    EXPECT_TRUE(Publish("test.OTHER") && other->WaitFor(1)) << "waits for another publisher";
    EXPECT_EQ(listener->count, 2);
    EXPECT_TRUE(Unsubscribe(listener));
    EXPECT_TRUE(Publish(ACTION) && Publish("test.OTHER") && other->WaitFor(2));
    EXPECT_EQ(listener->count, 2);
    EXPECT_FALSE(Publish("no \xff text") || Publish(std::string("cut\0off", 7)));
}

TEST_F(EventBus, DeliversEverySignalInTheOrderOfSubscription) {
    constexpr int COUNT = 20000;
    const auto first = Listen();
    const auto second = Listen(ACTION, [first](int count) { EXPECT_GE(first->count, count); });
    Sender service(SERVICE);
    for (int sent = 0; sent < COUNT; ++sent) {
        service.Send("s", ACTION);
    }
    service.Names();
    EXPECT_TRUE(second->WaitFor(COUNT));
    EXPECT_EQ(first->count, COUNT);
}

TEST_F(EventBus, FailsWithoutABusAndReconnectsToALostOne) {
    unsetenv("DBUS_SESSION_BUS_ADDRESS");
    unsetenv("DBUS_SYSTEM_BUS_ADDRESS");
    daemon.Kill();
    const auto refused = std::make_shared<Listener>(ACTION);
    for (const char* bus :
         {"session", "system", "nonsense", "unix:path=/nowhere",
          "unixexec:path=/bin/sh,argv1=-c,argv2=trap%20%27%27%20TERM%3bsleep%2060%3bsleep%2060", BUS_ADDRESS}) {
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

TEST_F(EventBus, ReturnsWithinFiveSecondsIfTheBusDoesNotAnswer) {
    const std::string greeting = "DATA\r\nOK 0123456789abcdef0123456789abcdef\r\nAGREE_UNIX_FD\r\n";
    const std::string named =
        greeting + "l\2\1\1\x9\0\0\0\1\0\0\0\xf\0\0\0\5\1u\0\1\0\0\0\x8\1g\0\1s\0\0\4\0\0\0:1.1\0"s;
    const std::string signal =
        "l\4\0\1\0\0\0\0\2\0\0\0*\0\0\0\1\1o\0\1\0\0\0/\0\0\0\0\0\0\0\2\1s\0\3\0\0\0a.b\0\0\0\0\0\3\1s\0\1\0\0\0c\0\0\0\0\0\0\0"s;
    const struct {
        const char* bus;
        std::string first;
        std::string endless = {};
    } rows[] = {
        {"mute", ""},
        {"nonsense", "\x8f\r\n\0\xff"s, "\xff\r\n"},
        {"mute after the greeting", named},
        {"half a message after the greeting", named + signal.substr(0, 30)},
        {"nonsense after the greeting", named, "\x8f\1\2\3"},
        {"endless unsolicited signals", named, signal},
    };
    daemon.Kill();
    for (const auto& row : rows) {
        FakeBus bus(row.first, row.endless);
        std::vector<std::future<bool>> publishers(row.first.empty() ? 3 : 1);  // the publishers wait for one another
        for (auto& publisher : publishers) {
            publisher =
                std::async(std::launch::async, [] { return ReturnsInTime(false, [] { return Publish(ACTION); }); });
        }
        EXPECT_TRUE(ReturnsInTime(false, [] { return Subscribe(std::make_shared<Listener>(ACTION)); })) << row.bus;
        for (auto& publisher : publishers) {
            EXPECT_TRUE(publisher.get()) << row.bus;
        }
        EXPECT_TRUE(Eventually([&] { return bus.accepted >= 2; })) << row.bus;
    }
}

TEST_F(EventBus, ReplacesAConnectionIfTheBusStopsAnswering) {
    const auto listener = Listen();
    EXPECT_TRUE(Publish(ACTION) && listener->WaitFor(1));
    daemon.Send(SIGSTOP);
    EXPECT_TRUE(ReturnsInTime(false, [] { return Publish(ACTION); }));
    daemon.Send(SIGCONT);
    EXPECT_TRUE(Publish(ACTION) && listener->WaitFor(2));
    daemon.Kill();
    const FakeBus mute("");
    EXPECT_TRUE(Eventually([&] { return mute.accepted > 0; }));
    unlink("/tmp/bus");
    daemon.Start();
    EXPECT_TRUE(Eventually([&] { return Publish(ACTION) && listener->count > 2; }, 5s));
}

TEST_F(EventBus, DestroysAManagerDuringDeliveries) {
    constexpr CommonEventId USER = CommonEventId::USER_ADDED;
    QuickFixPlumeWrapper::level_ = static_cast<QuickFixPlumeLevel>(INT32_MAX);
    const Flood flood(CommonEventSupport::COMMON_EVENT_USER_ADDED);
    for (int round = 0; round < 30; ++round) {
        EventManager manager;
        manager.SubscribeEvent(USER);
        EXPECT_TRUE(Eventually([&] { return manager.GetEventListenerRes(USER) == ListenerRes::SUCCESS; }));
    }
}

TEST_F(EventBus, ForkedChildCanPublishButNotSubscribe) {
    const auto listener = Listen();
    EXPECT_TRUE(Publish(ACTION));
    EXPECT_EXIT(_exit(Unsubscribe(listener) || Subscribe(listener) || !Publish(ACTION) ? 1 : 7),
                testing::ExitedWithCode(7), "");
    EXPECT_TRUE(Publish(ACTION) && listener->WaitFor(3));
}

TEST_F(EventBus, DeliversNothingAfterStaticDestruction) {
    const auto end = [](int exitFrom) {
        static const Flood flood(ACTION);
        static std::atomic<bool> destroyed{false};
        (void)std::atexit([] {
            destroyed = true;
            std::this_thread::sleep_for(300ms);  // gives deliveries time to happen
        });
        const auto listener = Listen(ACTION, [exitFrom](int count) {
            destroyed ? _exit(9) : void();
            count == exitFrom ? std::exit(7) : void();
        });
        listener->WaitFor(10);
        std::exit(7);
    };
    EXPECT_EXIT(end(0), testing::ExitedWithCode(7), "");
    EXPECT_EXIT(end(5), testing::ExitedWithCode(7), "") << "exit in a delivery";
}

}  // namespace
