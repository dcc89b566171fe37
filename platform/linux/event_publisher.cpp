#include "event_publisher.h"

#include <sdbus-c++/IObject.h>

#include <exception>

#include "event_bus.h"

bool EventPublisher::Publish(const std::string& action) {
    const std::lock_guard<std::mutex> lock(mutex_);
    const std::string bus = ChosenBus();
    if (bus != bus_) {
        connection_.reset();
        bus_ = bus;
    }
    std::string trouble;
    // The connection that was kept may have died with its bus; a new one is the last try.
    for (bool isNew = false; !isNew;) {
        try {
            isNew = connection_ == nullptr;
            connection_ = isNew ? ConnectTo(bus_) : std::move(connection_);
            Send(action);
            return true;
        } catch (const std::exception& error) {
            connection_.reset();
            trouble = error.what();
        }
    }
    ReportEventTrouble("no event was published", trouble);
    return false;
}

void EventPublisher::Send(const std::string& action) {
    connection_->requestName(EVENT_SERVICE);
    sdbus::createObject(*connection_, EVENT_PATH)
        ->emitSignal(EVENT_SIGNAL)
        .onInterface(EVENT_INTERFACE)
        .withArguments(action);
    // Answered in turn, so the bus has passed the signal on by then.
    connection_->releaseName(EVENT_SERVICE);
    // What the bus says about the name would pile up.
    while (connection_->processPendingRequest()) {
    }
}
