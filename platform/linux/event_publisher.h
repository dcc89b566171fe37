#pragma once

#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>

#include "bus_connection.h"

namespace TEKLO::Platform {

/// Sends broadcasts. Owns the name of the event service only while it sends, so that several programs can publish.
class EventPublisher {
public:
    bool Publish(const std::string& action);

private:
    using TimePoint = BusConnection::Clock::time_point;

    class TimedLock;

    void AcquireName(TimePoint deadline);
    bool TryReacquireName(TimePoint deadline);

    std::mutex mutex_;
    std::condition_variable unlocked_;
    bool isLocked_ = false;

    // Used by the thread that holds the lock.
    std::string bus_;
    std::unique_ptr<BusConnection> connection_;
};

}  // namespace TEKLO::Platform
