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

// The bus holds the sender against the owner of the name when the signal is sent.
std::string ServiceMatchRule() {
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
bool EventListener::IsInForkedChild() const {
    return ownerPid_ != 0 && ownerPid_ != getpid();
}

bool EventListener::Subscribe(const SubscriberList::Subscriber& subscriber) {
    if (IsInForkedChild()) {
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
    const bool fromWithin = thread_.get_id() == std::this_thread::get_id();
    // A subscriber that doesn't return, or a bus that doesn't answer, must not keep the process from ending.
    if (fromWithin || !changed_.wait_for(lock, STOP_TIMEOUT, [this] { return ended_; })) {
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
        LogEventWarning("no thread to hear events on", error.what());
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
        if (!std::exchange(isTroubleLogged_, true)) {
            LogEventWarning("no bus to hear events on", error.what());
        }
    }
}

/// False when the connection isn't needed any more. Decides under the lock: whoever subscribes sees either the connection
/// that stays or the one to come.
bool EventListener::UpdateConnectionState(bool isListening) {
    const std::lock_guard<std::mutex> lock(mutex_);
    const bool isNeeded = !stopped_ && !subscribers_.IsEmpty();
    const bool connected = isNeeded && isListening;
    requested_ = requested_ && isNeeded && !isListening;
    isTroubleLogged_ = isTroubleLogged_ && !isListening;
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
