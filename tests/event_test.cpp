#include <gtest/gtest.h>
#include <unistd.h>

#include <ctime>
#include <functional>
#include <optional>
#include <regex>

#include "event_manager.h"
#include "event_subscriber.h"
#include "platform/memory_platform.h"
#include "support/event_listener.h"
#include "support/files.h"
#include "support/plume_capture.h"

using namespace TEKLO::EventFwk;
using namespace TEKLO::QuickFixEngine;
using TEKLO::MemoryPlatform::EventCall;

namespace {

std::function<void(long)> g_sleep = [](long /*milliseconds*/) {};

}  // namespace

// The library's two ways to sleep.
[[gnu::visibility("default")]] int usleep(useconds_t microseconds) {
    g_sleep(microseconds / 1000);
    return 0;
}

[[gnu::visibility("default")]] int nanosleep(const timespec* duration, timespec* /*remaining*/) {
    g_sleep(duration->tv_sec * 1000 + duration->tv_nsec / 1000000);
    return 0;
}

namespace {

const CommonEventSubscribeInfo NO_ACTIONS{MatchingSkills()};

CommonEventId Id(const std::string& number) {
    return static_cast<CommonEventId>(std::stoi(number));
}

/// Plays commands to a manager and writes down, in its order, what comes of them: records, sleeps, the calls that the
/// platform gets, results.
class Player {
public:
    Player() {
        g_sleep = [this](long milliseconds) { Note("  sleeps " + std::to_string(milliseconds)); };
        TEKLO::MemoryPlatform::SetEventGate([this](EventCall call, const CommonEventSubscriber& subscriber) {
            return Answer(call, subscriber.GetSubscribeInfo().GetMatchingSkills());
        });
    }
    ~Player() {
        g_sleep = [](long /*milliseconds*/) {};
        TEKLO::MemoryPlatform::SetEventGate({});
    }

    void Play(const std::string& line) {
        Note(line);
        if (!line.empty() && line[0] != '#') {
            const size_t blank = line.find(' ');
            commands_.at(line.substr(0, blank))(blank < line.size() ? line.substr(blank + 1) : "");
            NoteRecords();
        }
    }

    std::string transcript;

private:
    void NoteRecords() {
        static const std::regex shape(R"(^3/([46])/d002e03/QuickFixUitls/\[(\w+\(~?\w+\)):\d+\] ([^]*)$)");
        for (const std::string& raw : capture_.TakeRaw()) {
            transcript += std::regex_replace(raw, shape, "  $1 $2 \"$3\"\n");
        }
    }

    void Note(const std::string& line) {
        NoteRecords();
        transcript += line + "\n";
    }

    void NoteResult(int result) { Note("  gives " + std::to_string(result)); }

    bool Answer(EventCall call, const MatchingSkills& skills) {
        std::string line = call == EventCall::SUBSCRIBE ? "  platform: subscribe" : "  platform: unsubscribe";
        for (const auto& [id, action] : g_eventIdToActionMap) {
            line += skills.HasEvent(action) ? " " + action : "";
        }
        Note(line);
        if (!early_.empty()) {
            CommonEventManager::PublishCommonEvent(Event(std::exchange(early_, "")));
        }
        return refusals_-- <= 0;
    }

    const std::map<std::string, std::function<void(const std::string&)>> commands_ = {
        {"new", [this](auto& /*none*/) { manager_.emplace(); }},
        {"end", [this](auto& /*none*/) { manager_.reset(); }},
        {"refuse", [this](auto& count) { refusals_ = std::stoi(count); }},
        {"deliver-early", [this](auto& action) { early_ = action; }},
        {"deliver", [](auto& action) { CommonEventManager::PublishCommonEvent(Event(action)); }},
        {"receive", [this](auto& action) { manager_->OnReceiveEvent(Event(action)); }},
        {"overhear", [](auto& action) { EventSubscriber(NO_ACTIONS).OnReceiveEvent(Event(action)); }},
        {"subscribe", [this](auto& id) { manager_->SubscribeEvent(Id(id)); }},
        {"unsubscribe", [this](auto& id) { manager_->UnsubscribeEvent(Id(id)); }},
        {"result", [this](auto& id) { NoteResult(static_cast<int>(manager_->GetEventListenerRes(Id(id)))); }},
        {"check", [this](auto& id) { NoteResult(manager_->CheckEventListenRes(Id(id), std::stoi(id.substr(2)))); }},
    };
    PlumeCapture capture_;
    std::optional<EventManager> manager_;
    int refusals_ = 0;
    std::string early_;
};

/// The transcript, with the texts that this platform has for the actions.
std::string ReadTranscript() {
    std::string text = Read("tests/data/event_manager.txt");
    const std::pair<std::string, std::string> actions[] = {
        {"{USER_ADDED}", CommonEventSupport::COMMON_EVENT_USER_ADDED},
        {"{BUNDLE_SCAN_FINISHED}", CommonEventSupport::COMMON_EVENT_BUNDLE_SCAN_FINISHED}};
    for (const auto& [name, action] : actions) {
        for (size_t at = text.find(name); at != std::string::npos; at = text.find(name, at + action.size())) {
            text.replace(at, name.size(), action);
        }
    }
    return text;
}

TEST(Events, GoAsTheTranscriptTells) {
    const std::string expected = ReadTranscript();
    ASSERT_FALSE(expected.empty());
    Player player;
    std::istringstream lines(expected);
    for (std::string line; std::getline(lines, line);) {
        if (line.substr(0, 2) != "  ") {
            player.Play(line);
        }
    }
    EXPECT_EQ(player.transcript, expected);
    const std::regex ofTheFileLog(R"([0-9 :.-]{23}\[(\w+\(~?\w+\)):\d+\](.*))");
    const std::regex ofThePlatform("  [46] (.*\n)|.*\n");
    EXPECT_EQ(std::regex_replace(Read(FIRST_LOG), ofTheFileLog, "$1 \"$2\""),
              std::regex_replace(expected, ofThePlatform, "$1"));
}

TEST(Events, HaveOneActionEach) {
    EventManager manager;
    for (const auto& [id, action] : g_eventIdToActionMap) {
        EXPECT_EQ(manager.GetEventId(action), id);
        EXPECT_EQ(g_actionToEventIdMap.at(action), id);
    }
    EXPECT_TRUE(g_eventIdToActionMap.size() == 2 && g_actionToEventIdMap.size() == 2);
}

TEST(Events, TheSubscriberForwardsTheVeryEvent) {
    struct Receiver : IEventReceiver {
        void OnReceiveEvent(const CommonEventData& data) override { received = &data; }
        const CommonEventData* received = nullptr;
    } receiver;
    const CommonEventData empty;
    EventSubscriber(NO_ACTIONS, &receiver).OnReceiveEvent(empty);
    EXPECT_EQ(receiver.received, &empty);
}

}  // namespace
