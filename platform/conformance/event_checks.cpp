#include <atomic>
#include <chrono>
#include <functional>
#include <future>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "platform/common_event.h"
#include "platform/plume_log.h"
#include "report.h"

namespace Conformance {

namespace {

using TEKLO::AAFwk::Want;
using TEKLO::EventFwk::CommonEventData;
using TEKLO::EventFwk::CommonEventManager;
using TEKLO::EventFwk::CommonEventSubscribeInfo;
using TEKLO::EventFwk::CommonEventSubscriber;
using TEKLO::EventFwk::MatchingSkills;
using namespace std::chrono_literals;

using Actions = std::vector<std::string>;

constexpr char FIRST[] = "quickfix.conformance.FIRST";
constexpr char SECOND[] = "quickfix.conformance.SECOND";
constexpr char OTHER[] = "quickfix.conformance.OTHER";
constexpr char LAST[] = "quickfix.conformance.LAST";
constexpr auto DELIVERY_LIMIT = 10s;

CommonEventData MakeEvent(const std::string& action) {
    Want want;
    want.SetAction(action);
    return CommonEventData(want);
}

CommonEventSubscribeInfo MakeInfo(const Actions& actions) {
    MatchingSkills skills;
    for (const std::string& action : actions) {
        skills.AddEvent(action);
    }
    return CommonEventSubscribeInfo(skills);
}

template <typename Condition>
bool Eventually(Condition holds) {
    const auto deadline = std::chrono::steady_clock::now() + DELIVERY_LIMIT;
    while (!holds() && std::chrono::steady_clock::now() < deadline) {
        std::this_thread::sleep_for(1ms);
    }
    return holds();
}

/// Records the deliveries and detects forbidden ones.
class Recorder : public CommonEventSubscriber {
public:
    using Reaction = std::function<void(size_t delivery)>;

    explicit Recorder(const Actions& actions, Reaction react = {})
        : CommonEventSubscriber(MakeInfo(actions)), react_(std::move(react)) {}

    void OnReceiveEvent(const CommonEventData& data) override {
        const Delivery delivery(*this);
        size_t number = 0;
        {
            const std::lock_guard<std::mutex> lock(mutex_);
            received_.push_back(data.GetWant().GetAction());
            number = received_.size();
        }
        if (react_) {
            react_(number);
        }
    }

    Actions Received() const {
        const std::lock_guard<std::mutex> lock(mutex_);
        return received_;
    }

    bool WaitFor(size_t count) const {
        return Eventually([this, count] { return Received().size() >= count; });
    }

    /// From now on, a delivery that starts or still runs is an error.
    void ForbidDeliveries() { isForbidden_ = true; }

    void ExpectNoViolation(Report& report) const {
        report.Expect(!overlapped_, "two deliveries to one subscriber overlapped");
        report.Expect(!hasLateDelivery_, "a delivery started or ran after the unsubscription had returned");
        report.Expect(!onSubscribingThread_, "a delivery ran on the thread that subscribed");
    }

private:
    class Delivery {
    public:
        explicit Delivery(Recorder& recorder) : recorder_(recorder) {
            recorder_.overlapped_ = recorder_.overlapped_ || recorder_.running_.exchange(true);
            recorder_.onSubscribingThread_ =
                recorder_.onSubscribingThread_ || std::this_thread::get_id() == recorder_.owner_;
            recorder_.hasLateDelivery_ = recorder_.hasLateDelivery_ || recorder_.isForbidden_;
        }
        ~Delivery() {
            recorder_.hasLateDelivery_ = recorder_.hasLateDelivery_ || recorder_.isForbidden_;
            recorder_.running_ = false;
        }
        Delivery(const Delivery&) = delete;
        Delivery& operator=(const Delivery&) = delete;

    private:
        Recorder& recorder_;
    };

    const Reaction react_;
    const std::thread::id owner_ = std::this_thread::get_id();
    mutable std::mutex mutex_;
    Actions received_;
    std::atomic<bool> running_{false};
    std::atomic<bool> isForbidden_{false};
    std::atomic<bool> overlapped_{false};
    std::atomic<bool> hasLateDelivery_{false};
    std::atomic<bool> onSubscribingThread_{false};
};

/// Keeps a recorder subscribed while this object exists. If the subscription fails, there is no event service, and the
/// check can't run.
class Subscription {
public:
    Subscription(Report& report, std::shared_ptr<Recorder> recorder) : recorder_(std::move(recorder)) {
        isSubscribed_ = CommonEventManager::SubscribeCommonEvent(recorder_);
        if (!isSubscribed_) {
            report.SetNotChecked("no event service: SubscribeCommonEvent returned false");
        }
    }
    ~Subscription() {
        if (isSubscribed_) {
            CommonEventManager::UnSubscribeCommonEvent(recorder_);
        }
    }
    Subscription(const Subscription&) = delete;
    Subscription& operator=(const Subscription&) = delete;

    explicit operator bool() const { return isSubscribed_; }
    Recorder* operator->() const { return recorder_.get(); }
    const std::shared_ptr<Recorder>& Get() const { return recorder_; }

private:
    std::shared_ptr<Recorder> recorder_;
    bool isSubscribed_ = false;
};

std::shared_ptr<Recorder> MakeRecorder(const Actions& actions, Recorder::Reaction react = {}) {
    return std::make_shared<Recorder>(actions, std::move(react));
}

/// Publishes on another thread, since a port may deliver on the publishing thread.
bool Publish(Report& report, const Actions& actions) {
    const auto publishAll = [&actions] {
        for (const std::string& action : actions) {
            if (!CommonEventManager::PublishCommonEvent(MakeEvent(action))) {
                return false;
            }
        }
        return true;
    };
    const bool isPublished = std::async(std::launch::async, publishAll).get();
    if (!isPublished) {
        report.SetNotChecked("can't publish: PublishCommonEvent returned false");
    }
    return isPublished;
}

/// Publishes in a loop for its lifetime.
class PublishLoop {
public:
    explicit PublishLoop(const std::string& action)
        : publishing_(std::async(std::launch::async, [this, action] {
              while (!ended_ && CommonEventManager::PublishCommonEvent(MakeEvent(action))) {
              }
          })) {}
    ~PublishLoop() { ended_ = true; }
    PublishLoop(const PublishLoop&) = delete;
    PublishLoop& operator=(const PublishLoop&) = delete;

private:
    std::atomic<bool> ended_{false};
    const std::future<void> publishing_;  // the destructor waits
};

std::string JoinActions(const Actions& actions) {
    std::string text;
    for (const std::string& action : actions) {
        text += " " + action.substr(action.rfind('.') + 1);
    }
    return text.empty() ? " nothing" : text;
}

void ExpectReceived(Report& report, const Recorder& recorder, const Actions& expected) {
    recorder.WaitFor(expected.size());
    report.Expect(recorder.Received() == expected,
                  "expected" + JoinActions(expected) + ", received" + JoinActions(recorder.Received()));
    recorder.ExpectNoViolation(report);
}

void CheckTypes(Report& report) {
    Want want;
    report.Expect(want.GetAction().empty(), "the action of a new Want is not empty");
    report.Expect(&want.SetAction("first") == &want && want.SetAction("second").GetAction() == "second",
                  "SetAction does not set the action, or does not return its object");
    const CommonEventData data(want);
    want.SetAction("third");
    report.Expect(data.GetWant().GetAction() == "second" && CommonEventData(data).GetWant().GetAction() == "second",
                  "CommonEventData does not hold a copy of its Want");
    report.Expect(CommonEventData().GetWant().GetAction().empty(), "the action of a new CommonEventData is not empty");
    MatchingSkills skills;
    skills.AddEvent("a.b");
    const CommonEventSubscribeInfo info(skills);
    skills.AddEvent("c");
    report.Expect(skills.HasEvent("a.b") && skills.HasEvent("c"), "MatchingSkills lacks an added event");
    report.Expect(!skills.HasEvent("a") && !skills.HasEvent("a.bc") && !skills.HasEvent("A.B") && !skills.HasEvent(""),
                  "MatchingSkills has an event that was not added");
    report.Expect(info.GetMatchingSkills().HasEvent("a.b") && !info.GetMatchingSkills().HasEvent("c"),
                  "CommonEventSubscribeInfo does not hold a copy of its MatchingSkills");
    report.Expect(Recorder({FIRST}).GetSubscribeInfo().GetMatchingSkills().HasEvent(FIRST),
                  "CommonEventSubscriber does not hold its CommonEventSubscribeInfo");
}

void CheckDelivery(Report& report) {
    const Subscription recorder(report, MakeRecorder({FIRST, SECOND, LAST}));
    const Actions published = {FIRST, SECOND, SECOND, OTHER, FIRST, FIRST, OTHER, SECOND, LAST};
    if (!recorder || !Publish(report, published)) {
        return;
    }
    // An event that is delivered twice would arrive before LAST.
    ExpectReceived(report, *recorder.Get(), {FIRST, SECOND, SECOND, FIRST, FIRST, SECOND, LAST});
}

void CheckSeveralSubscribers(Report& report) {
    const Subscription first(report, MakeRecorder({FIRST, LAST}));
    const Subscription second(report, MakeRecorder({SECOND, LAST}));
    if (!first || !second || !Publish(report, {SECOND, FIRST, OTHER, LAST})) {
        return;
    }
    ExpectReceived(report, *first.Get(), {FIRST, LAST});
    ExpectReceived(report, *second.Get(), {SECOND, LAST});
}

void CheckPublishersOnSeveralThreads(Report& report) {
    constexpr size_t EACH = 50;
    const Subscription recorder(report, MakeRecorder({FIRST, SECOND}));
    if (!recorder) {
        return;
    }
    const auto publish = [&report](const char* action) {
        return std::async(std::launch::async, [&report, action] { return Publish(report, Actions(EACH, action)); });
    };
    auto first = publish(FIRST);
    auto second = publish(SECOND);
    const bool firstResult = first.get();
    if (!second.get() || !firstResult) {
        return;
    }
    report.Expect(recorder->WaitFor(2 * EACH) && recorder->Received().size() == 2 * EACH,
                  std::to_string(recorder->Received().size()) + " of 100 events were delivered");
    recorder->ExpectNoViolation(report);
}

void CheckSubscribingTwice(Report& report) {
    const Subscription recorder(report, MakeRecorder({FIRST, LAST}));
    if (!recorder) {
        return;
    }
    report.Expect(CommonEventManager::SubscribeCommonEvent(recorder.Get()), "a second subscription returned false");
    const Subscription witness(report, MakeRecorder({LAST}));
    if (!witness || !Publish(report, {FIRST, LAST})) {
        return;
    }
    ExpectReceived(report, *recorder.Get(), {FIRST, LAST});
    report.Expect(CommonEventManager::UnSubscribeCommonEvent(recorder.Get()), "the unsubscription returned false");
    report.Expect(!CommonEventManager::UnSubscribeCommonEvent(recorder.Get()), "a second unsubscription returned true");
    recorder->ForbidDeliveries();
    if (Publish(report, {FIRST, LAST})) {
        report.Expect(witness->WaitFor(2), "another subscriber missed an event");
        ExpectReceived(report, *recorder.Get(), {FIRST, LAST});
    }
}

void CheckRefusals(Report& report) {
    report.Expect(!CommonEventManager::SubscribeCommonEvent(nullptr), "subscribing null returned true");
    report.Expect(!CommonEventManager::UnSubscribeCommonEvent(nullptr), "unsubscribing null returned true");
    report.Expect(!CommonEventManager::UnSubscribeCommonEvent(MakeRecorder({FIRST})),
                  "unsubscribing a subscriber that was not subscribed returned true");
}

void CheckSharing(Report& report) {
    std::shared_ptr<Recorder> recorder = MakeRecorder({FIRST});
    if (!CommonEventManager::SubscribeCommonEvent(recorder)) {
        return report.SetNotChecked("no event service: SubscribeCommonEvent returned false");
    }
    const std::weak_ptr<Recorder> observed = recorder;
    recorder.reset();
    recorder = observed.lock();
    if (!report.Expect(recorder != nullptr, "a subscribed subscriber was destroyed")) {
        return;
    }
    CommonEventManager::UnSubscribeCommonEvent(recorder);
    report.Expect(recorder.use_count() == 1, "the port still owns a subscriber after its unsubscription");
}

void CheckUnsubscriptionUnderLoad(Report& report) {
    if (!Publish(report, {OTHER})) {
        return;
    }
    const PublishLoop publishing(FIRST);
    for (int round = 0; round < 50 && !report.HasFailed(); ++round) {
        // In every other round the delivery is still running when WaitFor returns.
        const Subscription recorder(
            report, MakeRecorder({FIRST}, [round](size_t) { std::this_thread::sleep_for(round % 2 * 1ms); }));
        if (!recorder) {
            return;
        }
        report.Expect(recorder->WaitFor(1), "no event was delivered");
        report.Expect(CommonEventManager::UnSubscribeCommonEvent(recorder.Get()), "the unsubscription returned false");
        recorder->ForbidDeliveries();
        report.Expect(recorder.Get().use_count() == 1, "the port still owns a subscriber after its unsubscription");
        std::this_thread::sleep_for(1ms);
        recorder->ExpectNoViolation(report);
    }
}

void CheckUnsubscriptionWaits(Report& report) {
    std::atomic<bool> begun{false};
    std::atomic<bool> done{false};
    const Subscription recorder(report, MakeRecorder({FIRST}, [&](size_t) {
                                    begun = true;
                                    std::this_thread::sleep_for(300ms);
                                    done = true;
                                }));
    if (!recorder) {
        return;
    }
    auto publishing = std::async(std::launch::async, [&report] { return Publish(report, {FIRST}); });
    if (Eventually([&begun] { return begun.load(); })) {
        CommonEventManager::UnSubscribeCommonEvent(recorder.Get());
        report.Expect(done, "an unsubscription did not wait for a running delivery");
    } else {
        report.Expect(!publishing.get(), "no event was delivered");
    }
}

void CheckCallsFromWithin(Report& report) {
    const std::shared_ptr<Recorder> next = MakeRecorder({FIRST});
    std::shared_ptr<Recorder> first;
    std::atomic<bool> exchanged{false};
    first = MakeRecorder({FIRST}, [&](size_t) {
        PlumePrint(3, 4, 0xD002E03, "Conformance", "during a delivery");
        report.Expect(CommonEventManager::UnSubscribeCommonEvent(first),
                      "an unsubscription during a delivery returned false");
        report.Expect(CommonEventManager::SubscribeCommonEvent(next),
                      "a subscription during a delivery returned false");
        exchanged = true;
    });
    {
        const Subscription subscription(report, first);
        if (!subscription || !Publish(report, {FIRST})) {
            return;
        }
        report.Expect(Eventually([&exchanged] { return exchanged.load(); }), "no event was delivered");
        if (Publish(report, {FIRST})) {
            report.Expect(next->WaitFor(1), "a subscriber that was added during a delivery got no event");
        }
    }
    CommonEventManager::UnSubscribeCommonEvent(next);
    report.Expect(first->Received().size() == 1, "a subscriber that unsubscribed during a delivery got another event");
}

void CheckExceptions(Report& report) {
    const Subscription thrower(report, MakeRecorder({FIRST, LAST}, [](size_t delivery) {
                                   if (delivery == 1) {
                                       throw std::runtime_error("on purpose");
                                   }
                                   if (delivery == 2) {
                                       throw delivery;
                                   }
                               }));
    const Subscription other(report, MakeRecorder({FIRST, LAST}));
    if (!thrower || !other || !Publish(report, {FIRST, FIRST, LAST})) {
        return;
    }
    ExpectReceived(report, *thrower.Get(), {FIRST, FIRST, LAST});
    ExpectReceived(report, *other.Get(), {FIRST, FIRST, LAST});
}

}  // namespace

std::vector<Check> EventChecks() {
    return {{"events.types", CheckTypes},
            {"events.refusals", CheckRefusals},
            {"events.delivery_once_in_order", CheckDelivery},
            {"events.several_subscribers", CheckSeveralSubscribers},
            {"events.several_publishers", CheckPublishersOnSeveralThreads},
            {"events.subscribing_twice", CheckSubscribingTwice},
            {"events.sharing", CheckSharing},
            {"events.unsubscription_under_load", CheckUnsubscriptionUnderLoad},
            {"events.unsubscription_waits", CheckUnsubscriptionWaits},
            {"events.calls_from_within", CheckCallsFromWithin},
            {"events.exceptions", CheckExceptions}};
}

}  // namespace Conformance
