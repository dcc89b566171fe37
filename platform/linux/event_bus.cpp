#include "event_bus.h"

#include <chrono>
#include <cstdlib>

#include "plume_record.h"

namespace TEKLO::Platform {

namespace {

constexpr std::chrono::seconds CALL_TIMEOUT{2};

std::unique_ptr<sdbus::IConnection> Open(const std::string& bus) {
    if (bus == "system") {
        return sdbus::createSystemBusConnection();
    }
    if (bus == "session") {
        return sdbus::createSessionBusConnection();
    }
    return sdbus::createSessionBusConnectionWithAddress(bus);
}

}  // namespace

std::string ChosenBus() {
    const char* chosen = secure_getenv("QUICKFIX_EVENT_BUS");
    return chosen != nullptr && chosen[0] != '\0' ? chosen : "system";
}

std::unique_ptr<sdbus::IConnection> ConnectTo(const std::string& bus) {
    auto connection = Open(bus);
    connection->setMethodCallTimeout(CALL_TIMEOUT);
    return connection;
}

void ReportEventTrouble(const std::string& what, const std::string& why) {
    constexpr int level = 5;
    constexpr unsigned int domain = 0xD002E03;
    WritePlumeRecord(level, domain, "QuickFixEvents", what + ": " + why);
}

}  // namespace TEKLO::Platform
