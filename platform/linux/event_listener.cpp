#include "event_listener.h"

#include <pthread.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <exception>
#include <string>
#include <system_error>
#include <utility>

#include "bus_connection.h"
#include "event_bus.h"

namespace TEKLO::Platform {

namespace {

constexpr std::chrono::milliseconds STOP_TIMEOUT{1000};
constexpr std::chrono::milliseconds RECONNECT_INTERVAL{200};

// With `sender` in the rule, the bus checks for each signal that the sender owns the name.
std::string ServiceMatchRule() {
    return std::string("type='signal',sender='") + EVENT_SERVICE + "',interface='" + EVENT_INTERFACE + "',member='" +
           EVENT_SIGNAL + "'";
}

/// Blocks all signals for its lifetime, except those that a fault of the thread raises. A thread that is started
/// meanwhile inherits the mask and leaves the process's signals to other threads.
class SignalBlock {
public:
    SignalBlock() {
        sigset_t signals;
        sigfillset(&signals);
        for (const int fault : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT, SIGTRAP, SIGSYS}) {
            sigdelset(&signals, fault);
        }
        pthread_sigmask(SIG_BLOCK, &signals, &previousMask_);
    }
    ~SignalBlock() { pthread_sigmask(SIG_SETMASK, &previousMask_, nullptr); }
    SignalBlock(const SignalBlock&) = delete;
    SignalBlock& operator=(const SignalBlock&) = delete;

private:
    sigset_t previousMask_ = {};
};

}  // namespace

/// In a forked child the event thread doesn't exist, and the mutex may be locked.
bool EventListener::IsInForkedChild() const {
    return ownerPid_ != 0 && ownerPid_ != getpid();
}

bool EventListener::Subscribe(const SubscriberList::Subscriber& subscriber) {
    if (IsInForkedChild()) {
        return false;
    }
    // Add before connecting: the event thread disconnects if the list is empty.
    const bool added = subscribers_.Add(subscriber);
    const bool connected = EnsureConnected();
    if (added && !connected) {
        Unsubscribe(subscriber);
    }
    return connected;
}

bool EventListener::Unsubscribe(const SubscriberList::Subscriber& subscriber) {
    if (IsInForkedChild()) {
        return false;
    }
    const bool removed = subscribers_.Remove(subscriber);
    const std::lock_guard<std::mutex> lock(mutex_);
    Wake();
    return removed;
}

void EventListener::Stop() {
    if (IsInForkedChild()) {
        return;
    }
    std::unique_lock<std::mutex> lock(mutex_);
    stopped_ = true;
    changed_.notify_all();
    Wake();
    if (!thread_.joinable()) {
        return;
    }
    const bool isEventThread = thread_.get_id() == std::this_thread::get_id();
    // A subscriber that doesn't return, or a bus that doesn't answer, must not block the exit of the process.
    if (isEventThread || !changed_.wait_for(lock, STOP_TIMEOUT, [this] { return ended_; })) {
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
    // The running attempt may have started before the bus did, so wait for the next one.
    const uint64_t attempt = startedAttempts_ + 1;
    requested_ = true;
    changed_.notify_all();
    changed_.wait_for(lock, CONNECT_TIMEOUT, [&] { return connected_ || stopped_ || finishedAttempts_ >= attempt; });
    return connected_;
}

bool EventListener::EnsureStarted() {
    if (thread_.joinable()) {
        return true;
    }
    try {
        wakeFd_ = wakeFd_ < 0 ? eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK) : wakeFd_;
        if (wakeFd_ < 0) {
            throw std::system_error(errno, std::generic_category(), "eventfd");
        }
        const SignalBlock block;
        thread_ = std::thread([this] { Run(); });
        ownerPid_ = getpid();
        return true;
    } catch (const std::system_error& error) {
        LogEventWarning("can't start the event thread", error.what());
        return false;
    }
}

void EventListener::Wake() const {
    const uint64_t one = 1;
    (void)!write(wakeFd_, &one, sizeof(one));
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
    using Clock = BusConnection::Clock;
    try {
        BusConnection connection(BusFromEnvironment());
        connection.AddMatch(ServiceMatchRule(), [this](const std::string& action) { Deliver(action); });
        auto deadline = Clock::now() + ANSWER_TIMEOUT;
        while (UpdateConnectionState(connection.IsMatchInstalled())) {
            deadline = connection.IsMatchInstalled() ? Clock::time_point::max() : deadline;
            if (!connection.Process(deadline)) {
                connection.Wait(deadline, wakeFd_);
                ConsumeWakeUps();
            }
        }
    } catch (const std::exception& error) {
        if (!std::exchange(isFailureLogged_, true)) {
            LogEventWarning("can't receive events", error.what());
        }
    }
}

/// Returns false if the connection is no longer needed. Decides under the lock, so a subscriber never relies on a
/// connection that is about to close.
bool EventListener::UpdateConnectionState(bool isListening) {
    const std::lock_guard<std::mutex> lock(mutex_);
    const bool isNeeded = !stopped_ && !subscribers_.IsEmpty();
    const bool connected = isNeeded && isListening;
    requested_ = requested_ && isNeeded && !isListening;
    isFailureLogged_ = isFailureLogged_ && !isListening;
    if (std::exchange(connected_, connected) != connected) {
        changed_.notify_all();
    }
    return isNeeded;
}

void EventListener::Deliver(const std::string& action) {
    AAFwk::Want want;
    subscribers_.Deliver(EventFwk::CommonEventData(want.SetAction(action)));
}

void EventListener::ConsumeWakeUps() const {
    uint64_t count = 0;
    (void)!read(wakeFd_, &count, sizeof(count));
}

}  // namespace TEKLO::Platform
