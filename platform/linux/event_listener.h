#pragma once

#include <sys/types.h>

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <string>
#include <thread>

#include "subscriber_list.h"

namespace TEKLO::Platform {

/// Hears broadcasts on the bus and delivers them, on a thread of its own. The connection is the thread's alone, open
/// while there are subscribers, and opened again when it is lost.
class EventListener {
public:
    EventListener() = default;
    ~EventListener() = delete;  // its thread may outlive everything else
    EventListener(const EventListener&) = delete;
    EventListener& operator=(const EventListener&) = delete;

    bool Subscribe(const SubscriberList::Subscriber& subscriber);
    bool Unsubscribe(const SubscriberList::Subscriber& subscriber);

    /// Ends the thread for good.
    void Stop();

private:
    bool IsInForkedChild() const;
    bool EnsureConnected();
    bool EnsureStarted();
    void Wake() const;

    // The thread's own.
    void Run();
    bool WaitForWork();
    void Listen();
    bool UpdateConnectionState(bool isListening);
    void Deliver(const std::string& action);
    void ConsumeWakeUps() const;

    SubscriberList subscribers_;
    bool isTroubleLogged_ = false;  // the thread's own

    std::mutex mutex_;
    int wakeFd_ = -1;
    std::atomic<pid_t> ownerPid_{0};
    std::condition_variable changed_;
    bool connected_ = false;
    bool requested_ = false;
    bool stopped_ = false;
    bool ended_ = false;
    uint64_t startedAttempts_ = 0;
    uint64_t finishedAttempts_ = 0;
    std::thread thread_;
};

}  // namespace TEKLO::Platform
