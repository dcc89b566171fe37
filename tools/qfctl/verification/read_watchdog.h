#pragma once

#include <pthread.h>

#include <condition_variable>
#include <csignal>
#include <mutex>
#include <set>
#include <thread>

namespace qfctl {

/// While it lives, no read of the thread that made it lasts for ever because a pipe or a device took the place of a
/// regular file: a call that waits is interrupted twice a second, and a pipe or a device that was opened meanwhile is
/// replaced by an empty one. What was read is then wrong; whoever reads must check.
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
