#include "event_listener.h"

#include <poll.h>
#include <pthread.h>
#include <sdbus-c++/Error.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <exception>
#include <string>
#include <system_error>
#include <utility>

#include "event_bus.h"

namespace TEKLO::Platform {

namespace {

constexpr std::chrono::milliseconds ANSWER_LIMIT{2000};
constexpr std::chrono::milliseconds STOP_LIMIT{1000};
constexpr std::chrono::milliseconds RECONNECT_INTERVAL{200};

// The bus holds the sender against the owner of the name when the signal is sent.
std::string BroadcastsOfTheService() {
    return std::string("type='signal',sender='") + EVENT_SERVICE + "',interface='" + EVENT_INTERFACE + "',member='" +
           EVENT_SIGNAL + "'";
}

/// Blocks, while it lives, the signals that are sent to the process: they are for its own threads, not for one that is
/// started meanwhile. Those of a thread's own faults stay.
class SignalBlock {
public:
    SignalBlock() {
        sigset_t signals;
        sigfillset(&signals);
        for (const int fault : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT, SIGTRAP, SIGSYS}) {
            sigdelset(&signals, fault);
        }
        pthread_sigmask(SIG_BLOCK, &signals, &former_);
    }
    ~SignalBlock() { pthread_sigmask(SIG_SETMASK, &former_, nullptr); }
    SignalBlock(const SignalBlock&) = delete;
    SignalBlock& operator=(const SignalBlock&) = delete;

private:
    sigset_t former_ = {};
};

}  // namespace

/// In a forked child there is no such thread, and perhaps a locked mutex.
bool EventListener::IsInherited() const {
    return process_ != 0 && process_ != getpid();
}

bool EventListener::Subscribe(const SubscriberList::Subscriber& subscriber) {
    if (IsInherited()) {
        return false;
    }
    // First the list, then the connection: the thread gives the connection up when it finds the list empty.
    const bool added = subscribers_.Add(subscriber);
    const bool connected = EnsureConnected();
    if (added && !connected) {
        Unsubscribe(subscriber);
    }
    return connected;
}

bool EventListener::Unsubscribe(const SubscriberList::Subscriber& subscriber) {
    if (IsInherited()) {
        return false;
    }
    const bool removed = subscribers_.Remove(subscriber);
    const std::lock_guard<std::mutex> lock(mutex_);
    Wake();
    return removed;
}

void EventListener::Stop() {
    if (IsInherited()) {
        return;
    }
    std::unique_lock<std::mutex> lock(mutex_);
    stopped_ = true;
    changed_.notify_all();
    Wake();
    if (!thread_.joinable()) {
        return;
    }
    const bool fromWithin = thread_.get_id() == std::this_thread::get_id();
    // A subscriber that doesn't return, or a bus that doesn't answer, must not keep the process from ending.
    if (fromWithin || !changed_.wait_for(lock, STOP_LIMIT, [this] { return ended_; })) {
        thread_.detach();
        return;
    }
    thread_.join();
}

bool EventListener::EnsureConnected() {
    std::unique_lock<std::mutex> lock(mutex_);
    if (connected_ || stopped_ || thread_.get_id() == std::this_thread::get_id()) {
        return connected_;
    }
    if (!EnsureStarted()) {
        return false;
    }
    // An attempt that is under way may have begun before there was a bus.
    const uint64_t attempt = startedAttempts_ + 1;
    requested_ = true;
    changed_.notify_all();
    changed_.wait_for(lock, ANSWER_LIMIT, [&] { return connected_ || stopped_ || finishedAttempts_ >= attempt; });
    return connected_;
}

bool EventListener::EnsureStarted() {
    if (thread_.joinable()) {
        return true;
    }
    try {
        wakeUp_ = wakeUp_ < 0 ? eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK) : wakeUp_;
        if (wakeUp_ < 0) {
            throw std::system_error(errno, std::generic_category(), "eventfd");
        }
        const SignalBlock block;
        thread_ = std::thread([this] { Run(); });
        process_ = getpid();
        return true;
    } catch (const std::system_error& error) {
        ReportEventTrouble("no thread to hear events on", error.what());
        return false;
    }
}

void EventListener::Wake() const {
    const uint64_t one = 1;
    (void)!write(wakeUp_, &one, sizeof(one));
}

void EventListener::Run() {
    pthread_setname_np(pthread_self(), "quickfix-events");
    while (WaitForWork()) {
        Listen();
    }
    const std::lock_guard<std::mutex> lock(mutex_);
    ended_ = true;
    changed_.notify_all();
}

bool EventListener::WaitForWork() {
    const auto isWanted = [this] { return stopped_ || requested_; };
    std::unique_lock<std::mutex> lock(mutex_);
    connected_ = false;
    finishedAttempts_ = startedAttempts_;
    changed_.notify_all();
    if (subscribers_.IsEmpty()) {
        changed_.wait(lock, isWanted);
    } else {
        changed_.wait_for(lock, RECONNECT_INTERVAL, isWanted);
    }
    requested_ = false;
    ++startedAttempts_;
    return !stopped_;
}

void EventListener::Listen() {
    try {
        const auto connection = ConnectTo(ChosenBus());
        const auto match =
            connection->addMatch(BroadcastsOfTheService(), [this](sdbus::Message& message) { Receive(message); });
        troubleReported_ = false;
        while (GoesOn()) {
            if (!connection->processPendingRequest()) {
                SleepUntilReady(connection->getEventLoopPollData());
            }
        }
    } catch (const std::exception& error) {
        if (!std::exchange(troubleReported_, true)) {
            ReportEventTrouble("no bus to hear events on", error.what());
        }
    }
}

/// Decides under the lock: whoever subscribes sees either the connection that stays or the one to come.
bool EventListener::GoesOn() {
    const std::lock_guard<std::mutex> lock(mutex_);
    const bool goesOn = !stopped_ && !subscribers_.IsEmpty();
    requested_ = false;
    if (std::exchange(connected_, goesOn) != goesOn) {
        changed_.notify_all();
    }
    return goesOn;
}

void EventListener::Receive(sdbus::Message& message) {
    try {
        // One that is addressed to this process comes past the match, whoever sent it.
        if (!message.getDestination().empty()) {
            return;
        }
        std::string action;
        message >> action;
        AAFwk::Want want;
        subscribers_.Deliver(EventFwk::CommonEventData(want.SetAction(action)));
    } catch (const std::exception& error) {
        ReportEventTrouble("an event that can't be read", error.what());
    }
}

void EventListener::SleepUntilReady(const sdbus::IConnection::PollData& bus) const {
    std::array<pollfd, 2> descriptors = {{{bus.fd, bus.events, 0}, {wakeUp_, POLLIN, 0}}};
    poll(descriptors.data(), descriptors.size(), bus.getPollTimeout());
    uint64_t count = 0;
    (void)!read(wakeUp_, &count, sizeof(count));
}

}  // namespace TEKLO::Platform
