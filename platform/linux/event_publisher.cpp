#include "event_publisher.h"

#include <sdbus-c++/Error.h>
#include <sdbus-c++/IObject.h>

#include <chrono>
#include <exception>
#include <thread>

#include "event_bus.h"

namespace TEKLO::Platform {

namespace {

constexpr char NAME_IS_TAKEN[] = "org.freedesktop.DBus.Error.FileExists";
constexpr int MAX_REQUESTS = 50;
constexpr std::chrono::milliseconds REQUEST_INTERVAL{10};

/// Waits a while for another program that is publishing.
void RequestName(sdbus::IConnection& connection) {
    for (int request = 1; true; ++request) {
        try {
            return connection.requestName(EVENT_SERVICE);
        } catch (const sdbus::Error& error) {
            if (error.getName() != NAME_IS_TAKEN || request == MAX_REQUESTS) {
                throw;
            }
        }
        std::this_thread::sleep_for(REQUEST_INTERVAL);
    }
}

}  // namespace

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
        RequestName(*connection_);
    }
}

/// False when the connection that was kept has died with its bus.
bool EventPublisher::TryToOwnNameAgain() {
    try {
        // What the bus said about the name the last time would pile up.
        while (connection_->processPendingRequest()) {
        }
        RequestName(*connection_);
        return true;
    } catch (const sdbus::Error& error) {
        if (error.getName() == NAME_IS_TAKEN) {
            throw;
        }
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
