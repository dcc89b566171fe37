#include "event_bus.h"

#include <sdbus-c++/Error.h>
#include <systemd/sd-bus.h>

#include <chrono>
#include <cstdlib>

#include "plume_record.h"

namespace TEKLO::Platform {

namespace {

constexpr std::chrono::seconds CALL_TIMEOUT{2};

/// The bus library loses 2 KB with each address that it can't connect to, and a lost bus is tried five times a second; so
/// the address is tried here first.
void TryAddress(const std::string& address) {
    struct BusCloser {
        void operator()(sd_bus* bus) const { sd_bus_close_unref(bus); }
    };
    sd_bus* opened = nullptr;
    int result = sd_bus_new(&opened);
    const std::unique_ptr<sd_bus, BusCloser> bus(opened);
    result = result < 0 ? result : sd_bus_set_address(opened, address.c_str());
    result = result < 0 ? result : sd_bus_start(opened);
    if (result < 0) {
        throw sdbus::createError(-result, "Failed to connect to " + address);
    }
}

std::unique_ptr<sdbus::IConnection> Open(const std::string& bus) {
    if (bus == "system") {
        return sdbus::createSystemBusConnection();
    }
    if (bus == "session") {
        return sdbus::createSessionBusConnection();
    }
    TryAddress(bus);
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
