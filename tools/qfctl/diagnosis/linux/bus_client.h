#pragma once

#include <systemd/sd-bus.h>

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>

namespace qfctl {

/// The bus refused a call.
class BusError : public std::runtime_error {
public:
    BusError(std::string name, const std::string& message) : std::runtime_error(message), name_(std::move(name)) {}

    const std::string& GetName() const { return name_; }

private:
    std::string name_;  // such as org.freedesktop.DBus.Error.AccessDenied
};

/// A connection for calls to the bus itself. Each call uses the timeout of the Linux port. Throws BusError if the bus
/// refuses a call, std::system_error for any other failure.
class BusClient {
public:
    /// Starts to connect without waiting. `bus` is "system", "session" or an address.
    explicit BusClient(const std::string& bus);
    BusClient(const BusClient&) = delete;
    BusClient& operator=(const BusClient&) = delete;

    /// Calls a method with up to two arguments. Returns the string or number in the reply, which `Call` ignores.
    std::string CallForText(const char* member, const std::optional<std::string>& text = std::nullopt);
    uint32_t CallForNumber(const char* member, const std::string& text,
                           const std::optional<uint32_t>& number = std::nullopt);
    void Call(const char* member, const std::string& text);

    /// Sends an event to this connection only. Returns true if the bus delivers it.
    bool EchoEvent(const char* path, const char* interface, const char* member);

private:
    struct Closer {
        void operator()(sd_bus* bus) const { sd_bus_close_unref(bus); }
    };
    struct MessageUnref {
        void operator()(sd_bus_message* message) const { sd_bus_message_unref(message); }
    };
    using Message = std::unique_ptr<sd_bus_message, MessageUnref>;

    static int StoreReply(sd_bus_message* reply, void* stored, sd_bus_error* error);
    static int OnMessage(sd_bus_message* message, void* self, sd_bus_error* error);
    Message Send(const char* member, const std::optional<std::string>& text, const std::optional<uint32_t>& number);
    void Wait(std::chrono::steady_clock::time_point deadline) const;

    std::unique_ptr<sd_bus, Closer> bus_;
    bool hasEcho_ = false;
};

}  // namespace qfctl
