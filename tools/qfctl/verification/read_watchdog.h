#pragma once

#include <pthread.h>

#include <condition_variable>
#include <csignal>
#include <mutex>
#include <set>
#include <thread>

namespace qfctl {

/// Keeps reads of the constructing thread from blocking forever if a pipe or device has replaced a regular file. Twice
/// a second, interrupts a blocked call and replaces each newly opened pipe or device with an empty file. The content
/// that was read is then wrong, so callers must check it.
class ReadWatchdog {
public:
    ReadWatchdog();
    ~ReadWatchdog();
    ReadWatchdog(const ReadWatchdog&) = delete;
    ReadWatchdog& operator=(const ReadWatchdog&) = delete;

private:
    void Watch();

    const pthread_t reader_ = pthread_self();
    const std::set<int> inherited_;
    struct sigaction previousAction_ = {};
    std::mutex mutex_;
    std::condition_variable ended_;
    bool isEnded_ = false;
    std::thread thread_;
};

}  // namespace qfctl
