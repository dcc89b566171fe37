#include "event_publisher.h"

#include <sdbus-c++/Error.h>
#include <sdbus-c++/IObject.h>

#include <exception>

#include "event_bus.h"

namespace TEKLO::Platform {

bool EventPublisher::Publish(const std::string& action) {
    const std::lock_guard<std::mutex> lock(mutex_);
    try {
        OwnName();
        Send(action);
        return true;
    } catch (const std::exception& error) {
        connection_.reset();
        ReportEventTrouble("no event was published", error.what());
        return false;
    }
}

void EventPublisher::OwnName() {
    const std::string bus = ChosenBus();
    if (connection_ == nullptr || bus != bus_ || !TryToOwnNameAgain()) {
        connection_ = ConnectTo(bus);
        bus_ = bus;
        connection_->requestName(EVENT_SERVICE);
    }
}

/// False when the connection that was kept has died with its bus.
bool EventPublisher::TryToOwnNameAgain() {
    try {
        // What the bus said about the name the last time would pile up.
        while (connection_->processPendingRequest()) {
        }
        connection_->requestName(EVENT_SERVICE);
        return true;
    } catch (const sdbus::Error&) {
        return false;
    }
}

void EventPublisher::Send(const std::string& action) {
    const auto object = sdbus::createObject(*connection_, EVENT_PATH);
    object->emitSignal(EVENT_SIGNAL).onInterface(EVENT_INTERFACE).withArguments(action);
    // Answered in turn, so the bus has passed the signal on by then.
    connection_->releaseName(EVENT_SERVICE);
}

}  // namespace TEKLO::Platform
