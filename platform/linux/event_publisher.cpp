#include "event_publisher.h"

#include <algorithm>
#include <chrono>
#include <exception>
#include <system_error>
#include <thread>

#include "event_bus.h"

namespace TEKLO::Platform {

namespace {

using Clock = BusConnection::Clock;

/// Allows for two answers: a dead connection costs one timeout before a new connection is tried.
constexpr std::chrono::milliseconds PUBLISH_TIMEOUT{4000};
constexpr std::chrono::milliseconds NAME_TIMEOUT{500};
constexpr std::chrono::milliseconds REQUEST_INTERVAL{10};

Clock::time_point AnswerDeadline(Clock::time_point deadline) {
    return std::min(deadline, Clock::now() + ANSWER_TIMEOUT);
}

/// Acquires the name. While another program owns it, retries for NAME_TIMEOUT, then throws.
void WaitForName(BusConnection& connection, Clock::time_point deadline) {
    if (connection.RequestName(EVENT_SERVICE, AnswerDeadline(deadline))) {
        return;
    }
    const auto giveUpAt = Clock::now() + NAME_TIMEOUT;
    while (Clock::now() < giveUpAt) {
        std::this_thread::sleep_for(REQUEST_INTERVAL);
        if (connection.RequestName(EVENT_SERVICE, AnswerDeadline(deadline))) {
            return;
        }
    }
    throw std::system_error(std::make_error_code(std::errc::file_exists),
                            std::string("another program owns ") + EVENT_SERVICE);
}

}  // namespace

/// Lets one thread publish at a time. Not a std::timed_mutex: the thread sanitizer of g++ 12 doesn't intercept
/// pthread_mutex_clocklock and misses the lock.
class EventPublisher::TimedLock {
public:
    TimedLock(EventPublisher& publisher, TimePoint deadline) : publisher_(publisher) {
        std::unique_lock<std::mutex> lock(publisher_.mutex_);
        ownsLock_ = publisher_.unlocked_.wait_until(lock, deadline, [this] { return !publisher_.isLocked_; });
        publisher_.isLocked_ = true;
    }
    ~TimedLock() {
        if (ownsLock_) {
            const std::lock_guard<std::mutex> lock(publisher_.mutex_);
            publisher_.isLocked_ = false;
            publisher_.unlocked_.notify_one();
        }
    }
    TimedLock(const TimedLock&) = delete;
    TimedLock& operator=(const TimedLock&) = delete;

    bool OwnsLock() const { return ownsLock_; }

private:
    EventPublisher& publisher_;
    bool ownsLock_ = false;
};

bool EventPublisher::Publish(const std::string& action) {
    constexpr char what[] = "can't publish the event";
    const auto deadline = Clock::now() + PUBLISH_TIMEOUT;
    const TimedLock lock(*this, deadline);
    if (!lock.OwnsLock()) {
        LogEventWarning(what, "another thread is still publishing");
        return false;
    }
    try {
        AcquireName(deadline);
        connection_->EmitSignal(EVENT_PATH, EVENT_INTERFACE, EVENT_SIGNAL, action);
        // The bus handles messages in order: when it answers, it has passed the signal on.
        connection_->ReleaseName(EVENT_SERVICE, AnswerDeadline(deadline));
        return true;
    } catch (const std::exception& error) {
        connection_.reset();
        LogEventWarning(what, error.what());
        return false;
    }
}

void EventPublisher::AcquireName(TimePoint deadline) {
    const std::string bus = BusFromEnvironment();
    if (connection_ == nullptr || bus != bus_ || !TryReacquireName(deadline)) {
        connection_ = std::make_unique<BusConnection>(bus);
        bus_ = bus;
        WaitForName(*connection_, deadline);
    }
}

/// Acquires the name through the old connection. Throws if another program keeps the name. Returns false on any other
/// failure, because the old connection may be dead.
bool EventPublisher::TryReacquireName(TimePoint deadline) {
    try {
        WaitForName(*connection_, deadline);
        return true;
    } catch (const std::system_error& error) {
        if (error.code() == std::errc::file_exists) {
            throw;
        }
        return false;
    }
}

}  // namespace TEKLO::Platform
