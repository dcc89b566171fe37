#include <unistd.h>

#include <array>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <fstream>
#include <memory>
#include <system_error>

#include "diagnosis/checks.h"
#include "diagnosis/linux/bus_client.h"
#include "text/escape.h"

namespace qfctl {
namespace {

// The names that the Linux port uses.
constexpr char SERVICE[] = "teklo.CommonEventService";
constexpr char INTERFACE[] = "teklo.CommonEvent";
constexpr char SIGNAL[] = "Published";
constexpr char PATH[] = "/teklo/CommonEvent";

// Flags and results of RequestName.
constexpr uint32_t ALLOW_REPLACEMENT = 1;
constexpr uint32_t DO_NOT_QUEUE = 4;
constexpr uint32_t PRIMARY_OWNER = 1;

std::string BusName() {
    const char* bus = secure_getenv("QUICKFIX_EVENT_BUS");
    return bus != nullptr && bus[0] != '\0' ? bus : "system";
}

std::string DescribeBus(const std::string& bus) {
    const bool isKnown = bus == "system" || bus == "session";
    return isKnown ? "the " + bus + " bus" : "the bus at " + QuoteIfUnprintable(bus);
}

Finding CheckReception(const std::string& name, BusClient& client) {
    const std::string advice = std::string("change the bus policies that deny ") + INTERFACE + " to this user";
    try {
        client.Call("AddMatch", std::string("type='signal',sender='") + SERVICE + "',interface='" + INTERFACE +
                                    "',member='" + SIGNAL + "'");
    } catch (const BusError& error) {
        return {name, Severity::ERROR, CurrentUser() + " may not subscribe: " + QuoteIfUnprintable(error.what()),
                advice};
    }
    // A signal to one connection is not a broadcast, so listeners of the port would ignore it.
    if (!client.EchoEvent(PATH, INTERFACE, SIGNAL)) {
        return {name, Severity::WARNING, "the bus does not pass a trial event on to " + CurrentUser(), advice};
    }
    return {name, Severity::OK, CurrentUser() + " may subscribe and receives a trial event", ""};
}

std::string FindProgram(uint32_t process) {
    const std::filesystem::path folder = "/proc/" + std::to_string(process);
    std::error_code error;
    std::string program = std::filesystem::read_symlink(folder / "exe", error);
    if (error) {  // the process belongs to another user
        std::ifstream file(folder / "comm");
        std::getline(file, program);
    }
    return program.empty() ? "" : ", program " + QuoteIfUnprintable(program);
}

Finding CheckService(const std::string& name, BusClient& client) {
    std::string owner;
    try {
        owner = client.CallForText("GetNameOwner", SERVICE);
    } catch (const BusError& error) {
        if (error.GetName() != "org.freedesktop.DBus.Error.NameHasNoOwner") {
            throw;
        }
        return {name, Severity::OK,
                std::string("nobody owns ") + SERVICE + " now; qfctl publish owns it while it sends", ""};
    }
    const uint32_t process = client.CallForNumber("GetConnectionUnixProcessID", owner);
    const uint32_t user = client.CallForNumber("GetConnectionUnixUser", owner);
    const std::string text = QuoteIfUnprintable(owner) + " owns " + SERVICE + ": process " + std::to_string(process) +
                             ", user " + std::to_string(user) + FindProgram(process);
    if (user != 0 && user != geteuid()) {
        return {name, Severity::WARNING, text,
                "make sure that it is the event service: engines accept its broadcasts, and qfctl publish can't send"};
    }
    return {name, Severity::OK, text, ""};
}

/// Acquires the name for a moment if nobody owns it, because no other call reveals the policy. Other programs can take
/// the name over meanwhile.
Finding CheckOwnership(const std::string& name, BusClient& client) {
    try {
        if (client.CallForNumber("RequestName", SERVICE, ALLOW_REPLACEMENT | DO_NOT_QUEUE) == PRIMARY_OWNER) {
            client.CallForNumber("ReleaseName", SERVICE);
        }
    } catch (const BusError& error) {
        return {name, Severity::WARNING,
                CurrentUser() + " may not own " + SERVICE + ": " + QuoteIfUnprintable(error.what()),
                "only qfctl publish needs it: run that as root, with the bus policy installed"};
    }
    return {name, Severity::OK, CurrentUser() + " may own " + SERVICE, ""};
}

struct BusCheck {
    const char* name;
    Finding (*run)(const std::string& name, BusClient& client);
};

// CheckService runs before CheckOwnership, which may make this process the owner for a moment.
constexpr std::array<BusCheck, 3> BUS_CHECKS = {{
    {"event-reception", CheckReception},
    {"event-service", CheckService},
    {"event-publishing", CheckOwnership},
}};

}  // namespace

Findings CheckEvents() {
    const std::string bus = BusName();
    std::unique_ptr<BusClient> client;
    try {
        client = std::make_unique<BusClient>(bus);
        client->CallForText("GetId");
    } catch (const std::exception& error) {
        return {{"bus", Severity::ERROR, DescribeBus(bus) + " can't be reached: " + QuoteIfUnprintable(error.what()),
                 "start it, or set QUICKFIX_EVENT_BUS to the address of another bus"}};
    }
    Findings findings = {{"bus", Severity::OK, DescribeBus(bus) + " answers", ""}};
    for (const BusCheck& check : BUS_CHECKS) {
        try {
            findings.push_back(check.run(check.name, *client));
        } catch (const std::exception& error) {
            findings.push_back({check.name, Severity::UNKNOWN,
                                "the bus does not answer the query: " + QuoteIfUnprintable(error.what()),
                                "try again, or as root"});
        }
    }
    return findings;
}

}  // namespace qfctl
