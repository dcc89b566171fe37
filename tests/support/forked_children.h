#pragma once

#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <thread>
#include <vector>

/// Forks children, each of which calls `log`, while other threads do too. Returns how many did not end within 5 seconds.
inline int CountHangingChildren(int children, void (*log)()) {
    std::atomic<bool> ended{false};
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&ended, log] {
            while (!ended) {
                log();
            }
        });
    }
    int hanging = 0;
    for (int i = 0; i < children; ++i) {
        const pid_t child = fork();
        if (child == 0) {
            log();
            _exit(0);
        }
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(5);
        while (waitpid(child, nullptr, WNOHANG) == 0) {
            if (std::chrono::steady_clock::now() > deadline) {
                ++hanging;
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
    return hanging;
}
