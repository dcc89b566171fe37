#pragma once

#include <pthread.h>

#include <condition_variable>
#include <csignal>
#include <mutex>
#include <set>
#include <thread>

namespace qfctl {

/// Keeps the reads of the thread that constructed it from blocking forever when a pipe or a device has replaced a regular
/// file: twice a second it interrupts a blocked call and replaces each pipe or device that was opened meanwhile by an
/// empty one. The content read is then wrong; callers must check it.
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
    struct sigaction formerAction_ = {};
    std::mutex mutex_;
    std::condition_variable ended_;
    bool isEnded_ = false;
    std::thread thread_;
};

}  // namespace qfctl
