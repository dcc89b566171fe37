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

/// Two answers' time, since a connection that was kept may be mute and a new one not.
constexpr std::chrono::milliseconds PUBLISH_TIMEOUT{4000};
constexpr std::chrono::milliseconds NAME_TIMEOUT{500};
constexpr std::chrono::milliseconds REQUEST_INTERVAL{10};

Clock::time_point AnswerDeadline(Clock::time_point deadline) {
    return std::min(deadline, Clock::now() + ANSWER_TIMEOUT);
}

/// Waits a while for another program that is publishing.
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

/// One thread publishes at a time. Not a std::timed_mutex, which g++ 12's thread sanitizer takes for unlocked: it doesn't
/// know pthread_mutex_clocklock.
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
    constexpr char what[] = "no event was published";
    const auto deadline = Clock::now() + PUBLISH_TIMEOUT;
    const TimedLock lock(*this, deadline);
    if (!lock.OwnsLock()) {
        LogEventWarning(what, "another thread is still publishing");
        return false;
    }
    try {
        AcquireName(deadline);
        connection_->EmitSignal(EVENT_PATH, EVENT_INTERFACE, EVENT_SIGNAL, action);
        // The bus answers in order, so it has passed the signal on by then.
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

/// False when the connection that was kept has died with its bus.
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
