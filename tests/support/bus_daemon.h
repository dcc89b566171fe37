#pragma once

#include <array>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <string>

inline constexpr char BUS_ADDRESS[] = "unix:path=/tmp/bus";

/// A bus daemon at an address that is chosen for this process; killed without a warning in the end.
class BusDaemon {
public:
    BusDaemon() {
        setenv("QUICKFIX_EVENT_BUS", BUS_ADDRESS, 1);
        Start();
    }
    ~BusDaemon() { Kill(); }
    BusDaemon(const BusDaemon&) = delete;
    BusDaemon& operator=(const BusDaemon&) = delete;

    /// Returns when it listens.
    void Start() {
        const std::string options = " --session --nofork --nopidfile --print-pid --address=";
        output_ = popen(("exec dbus-daemon" + options + BUS_ADDRESS).c_str(), "r");
        std::array<char, 32> line = {};
        const bool started = fgets(line.data(), line.size(), output_) != nullptr;
        process_ = started ? static_cast<pid_t>(strtol(line.data(), nullptr, 10)) : 0;
    }

    void Kill() {
        if (process_ > 0) {
            kill(process_, SIGKILL);
        }
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
