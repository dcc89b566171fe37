#pragma once

#include <systemd/sd-bus.h>

#include <chrono>
#include <functional>
#include <memory>
#include <string>

namespace TEKLO::Platform {

/// A connection to a message bus. Only this class calls sd-bus. One thread at a time may use it. No call waits past
/// its deadline. Failures are thrown as std::system_error.
class BusConnection {
public:
    using Clock = std::chrono::steady_clock;
    using TextHandler = std::function<void(const std::string&)>;

    /// Starts to connect to `system`, `session` or an address. Doesn't wait for the bus.
    explicit BusConnection(const std::string& bus);
    BusConnection(const BusConnection&) = delete;
    BusConnection& operator=(const BusConnection&) = delete;

    /// Subscribes to the signals that match. Process passes the first argument of each to the handler, and drops
    /// signals that are addressed to one program.
    void AddMatch(const std::string& rule, TextHandler handler);

    /// Once this has returned true, no matching signal is missed.
    bool IsMatchInstalled() const { return isMatchInstalled_; }

    /// Handles one message or one step of the handshake. Returns false if there was nothing to handle. Throws after the
    /// deadline, and if the bus has rejected the match rule.
    bool Process(Clock::time_point deadline);

    /// Sleeps until Process has work, `wakeFd` is readable (-1 for none), or the deadline has passed.
    void Wait(Clock::time_point deadline, int wakeFd = -1) const;

    /// Acquires the name. Returns false if another program owns it.
    bool RequestName(const char* name, Clock::time_point deadline);

    /// Releases the name. Returns when the bus has passed on all messages that were sent before.
    void ReleaseName(const char* name, Clock::time_point deadline);

    void EmitSignal(const char* path, const char* interface, const char* member, const std::string& text);

private:
    struct Closer {
        void operator()(sd_bus* bus) const { sd_bus_close_unref(bus); }
    };

    static int OnSignal(sd_bus_message* message, void* self, sd_bus_error* error);
    static int OnMatchInstalled(sd_bus_message* reply, void* self, sd_bus_error* error);
    void Check(int result) const;

    const std::string name_;
    std::unique_ptr<sd_bus, Closer> bus_;
    TextHandler handler_;
    bool isMatchInstalled_ = false;
    int matchError_ = 0;
};

}  // namespace TEKLO::Platform
