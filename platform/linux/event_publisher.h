#pragma once

#include <sdbus-c++/IConnection.h>

#include <memory>
#include <mutex>
#include <string>

namespace TEKLO::Platform {

/// Sends broadcasts, each under the event service's name, which is owned only while sending, so that several programs can
/// take turns.
class EventPublisher {
public:
    bool Publish(const std::string& action);

private:
    void OwnName();
    bool TryToOwnNameAgain();
    void Send(const std::string& action);

    std::mutex mutex_;
    std::string bus_;
    std::unique_ptr<sdbus::IConnection> connection_;
};

}  // namespace TEKLO::Platform
