#include "bus_connection.h"

#include <poll.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstdint>
#include <cstring>
#include <exception>
#include <system_error>
#include <utility>

#include "event_bus.h"

namespace TEKLO::Platform {

namespace {

using Clock = BusConnection::Clock;

struct SlotUnref {
    void operator()(sd_bus_slot* slot) const { sd_bus_slot_unref(slot); }
};
using Slot = std::unique_ptr<sd_bus_slot, SlotUnref>;

// Results of RequestName and ReleaseName.
constexpr uint32_t PRIMARY_OWNER = 1;
constexpr uint32_t NAME_EXISTS = 3;
constexpr uint32_t RELEASED = 1;

struct Reply {
    bool hasArrived = false;
    int error = 0;
    uint32_t result = 0;
};

int StoreReply(sd_bus_message* message, void* stored, sd_bus_error* /*error*/) {
    Reply& reply = *static_cast<Reply*>(stored);
    reply.hasArrived = true;
    reply.error = sd_bus_message_get_errno(message);
    if (reply.error == 0) {
        reply.error = -std::min(sd_bus_message_read(message, "u", &reply.result), 0);
    }
    return 0;
}

int Connect(const std::string& name, sd_bus** bus) {
    if (name == "system") {
        return sd_bus_open_system(bus);
    }
    if (name == "session") {
        return sd_bus_open_user(bus);
    }
    // An address with "unixexec:" starts a program. When sd-bus 252 closes the connection, it waits for the program's
    // exit, but the program may ignore SIGTERM.
    if (name.find("unixexec:") != std::string::npos) {
        return -EPROTONOSUPPORT;
    }
    int result = sd_bus_new(bus);
    result = result < 0 ? result : sd_bus_set_address(*bus, name.c_str());
    result = result < 0 ? result : sd_bus_set_bus_client(*bus, 1);
    return result < 0 ? result : sd_bus_start(*bus);
}

uint32_t WaitForReply(BusConnection& connection, const Reply& reply, Clock::time_point deadline) {
    while (!reply.hasArrived) {
        if (!connection.Process(deadline)) {
            connection.Wait(deadline);
        }
    }
    return reply.result;
}

/// sd-bus and Clock both use CLOCK_MONOTONIC, so a time of sd-bus is a time point of Clock.
Clock::time_point ToTimePoint(uint64_t microseconds) {
    constexpr auto longest = std::chrono::duration_cast<std::chrono::microseconds>(Clock::duration::max());
    const bool isNever = microseconds > static_cast<uint64_t>(longest.count());
    return isNever ? Clock::time_point::max() : Clock::time_point(std::chrono::microseconds(microseconds));
}

int MillisecondsUntil(Clock::time_point moment) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(moment - Clock::now()).count();
    return static_cast<int>(std::clamp<int64_t>(left, 0, INT_MAX));
}

}  // namespace

BusConnection::BusConnection(const std::string& bus) : name_(bus) {
    sd_bus* opened = nullptr;
    const int result = Connect(bus, &opened);
    bus_.reset(opened);
    Check(result);
}

void BusConnection::Check(int result) const {
    if (result < 0) {
        throw std::system_error(-result, std::generic_category(), name_);
    }
}

void BusConnection::AddMatch(const std::string& rule, TextHandler handler) {
    handler_ = std::move(handler);
    Check(sd_bus_add_match_async(bus_.get(), nullptr, rule.c_str(), OnSignal, OnMatchInstalled, this));
}

int BusConnection::OnMatchInstalled(sd_bus_message* reply, void* self, sd_bus_error* /*error*/) {
    BusConnection& connection = *static_cast<BusConnection*>(self);
    connection.matchError_ = sd_bus_message_get_errno(reply);
    connection.isMatchInstalled_ = connection.matchError_ == 0;
    return 0;
}

int BusConnection::OnSignal(sd_bus_message* message, void* self, sd_bus_error* /*error*/) {
    // The bus does not check the match rule for a signal that is addressed to this process.
    if (sd_bus_message_get_destination(message) != nullptr) {
        return 0;
    }
    const char* text = nullptr;
    const int result = sd_bus_message_read(message, "s", &text);
    try {
        result > 0 ? static_cast<BusConnection*>(self)->handler_(text)
                   : LogEventWarning("an event can't be read", std::generic_category().message(-result));
    } catch (const std::exception& error) {
        LogEventWarning("an event can't be delivered", error.what());
    }
    return 0;
}

bool BusConnection::Process(Clock::time_point deadline) {
    Check(Clock::now() < deadline ? 0 : -ETIMEDOUT);
    const int result = sd_bus_process(bus_.get(), nullptr);
    Check(result);
    Check(-matchError_);
    return result > 0;
}

void BusConnection::Wait(Clock::time_point deadline, int wakeFd) const {
    const int fd = sd_bus_get_fd(bus_.get());
    Check(fd);
    const int events = sd_bus_get_events(bus_.get());
    Check(events);
    uint64_t timeout = UINT64_MAX;
    Check(sd_bus_get_timeout(bus_.get(), &timeout));
    std::array<pollfd, 2> descriptors = {{{fd, static_cast<short>(events), 0}, {wakeFd, POLLIN, 0}}};
    poll(descriptors.data(), descriptors.size(), MillisecondsUntil(std::min(deadline, ToTimePoint(timeout))));
}

bool BusConnection::RequestName(const char* name, Clock::time_point deadline) {
    Reply reply;
    sd_bus_slot* slot = nullptr;
    Check(sd_bus_request_name_async(bus_.get(), &slot, name, 0, StoreReply, &reply));
    const Slot owner(slot);
    const uint32_t result = WaitForReply(*this, reply, deadline);
    Check(-reply.error);
    Check(result == PRIMARY_OWNER || result == NAME_EXISTS ? 0 : -EALREADY);
    return result == PRIMARY_OWNER;
}

void BusConnection::ReleaseName(const char* name, Clock::time_point deadline) {
    Reply reply;
    sd_bus_slot* slot = nullptr;
    Check(sd_bus_release_name_async(bus_.get(), &slot, name, StoreReply, &reply));
    const Slot owner(slot);
    const uint32_t result = WaitForReply(*this, reply, deadline);
    Check(-reply.error);
    Check(result == RELEASED ? 0 : -ESRCH);
}

void BusConnection::EmitSignal(const char* path, const char* interface, const char* member, const std::string& text) {
    // A D-Bus string can't contain a zero byte.
    Check(text.size() == strlen(text.c_str()) ? 0 : -EINVAL);
    Check(sd_bus_emit_signal(bus_.get(), path, interface, member, "s", text.c_str()));
}

}  // namespace TEKLO::Platform
