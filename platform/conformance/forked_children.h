#pragma once

#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <thread>
#include <vector>

/// Forks children that call `log` while other threads call it too. Stops and returns false if a child doesn't exit
/// within 5 seconds.
inline bool ForkedChildrenReturn(int children, void (*log)()) {
    std::atomic<bool> ended{false};
    constexpr size_t LOGGING_THREADS = 4;
    std::vector<std::thread> threads;
    threads.reserve(LOGGING_THREADS);
    for (size_t i = 0; i < LOGGING_THREADS; ++i) {
        threads.emplace_back([&ended, log] {
            while (!ended) {
                log();
            }
        });
    }
    bool returned = true;
    for (int i = 0; i < children && returned; ++i) {
        const pid_t child = fork();
        if (child == 0) {
            log();
            _exit(0);
        }
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(5);
        while (waitpid(child, nullptr, WNOHANG) == 0) {
            if (std::chrono::steady_clock::now() > deadline) {
                returned = false;
                kill(child, SIGKILL);
                waitpid(child, nullptr, 0);
                break;
            }
            std::this_thread::sleep_for(std::chrono::microseconds(200));
        }
    }
    ended = true;
    for (std::thread& thread : threads) {
        thread.join();
    }
    return returned;
}
