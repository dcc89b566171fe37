#pragma once

#include <systemd/sd-bus.h>

#include <array>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <utility>

inline constexpr char BUS_ADDRESS[] = "unix:path=/tmp/bus";

struct BusCloser {
    void operator()(sd_bus* bus) const { sd_bus_close_unref(bus); }
};
using BusClient = std::unique_ptr<sd_bus, BusCloser>;

/// Connects to the bus as another program that owns the name. Returns null on failure.
inline BusClient ConnectAs(const char* name) {
    sd_bus* opened = nullptr;
    sd_bus_new(&opened);
    BusClient bus(opened);
    const bool connected = sd_bus_set_address(opened, BUS_ADDRESS) >= 0 && sd_bus_set_bus_client(opened, 1) >= 0 &&
                           sd_bus_start(opened) >= 0 && sd_bus_request_name(opened, name, 0) >= 0;
    return connected ? std::move(bus) : nullptr;
}

/// A bus daemon at BUS_ADDRESS, which this process uses as its bus. The destructor kills the daemon.
class BusDaemon {
public:
    BusDaemon() {
        setenv("QUICKFIX_EVENT_BUS", BUS_ADDRESS, 1);
        Start();
    }
    ~BusDaemon() { Kill(); }
    BusDaemon(const BusDaemon&) = delete;
    BusDaemon& operator=(const BusDaemon&) = delete;

    /// Returns when the daemon listens.
    void Start() {
        const std::string options = " --session --nofork --nopidfile --print-pid --address=";
        output_ = popen(("exec dbus-daemon" + options + BUS_ADDRESS).c_str(), "r");
        std::array<char, 32> line = {};
        const bool started = fgets(line.data(), line.size(), output_) != nullptr;
        process_ = started ? static_cast<pid_t>(strtol(line.data(), nullptr, 10)) : 0;
    }

    /// Sends a signal to the daemon. Between SIGSTOP and SIGCONT, clients can connect but get no answer.
    void Send(int signal) const {
        if (process_ > 0) {
            kill(process_, signal);
        }
    }

    void Kill() {
        Send(SIGKILL);
        if (output_ != nullptr) {
            pclose(output_);
        }
        process_ = 0;
        output_ = nullptr;
    }

private:
    FILE* output_ = nullptr;
    pid_t process_ = 0;
};
