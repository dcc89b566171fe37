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

/// Receives broadcasts from the bus and delivers them, on its own thread. Only that thread uses the connection. The
/// connection is open while there are subscribers; if it is lost, the thread reconnects.
class EventListener {
public:
    EventListener() = default;
    ~EventListener() = delete;  // the thread may still run
    EventListener(const EventListener&) = delete;
    EventListener& operator=(const EventListener&) = delete;

    bool Subscribe(const SubscriberList::Subscriber& subscriber);
    bool Unsubscribe(const SubscriberList::Subscriber& subscriber);

    /// Ends the thread. Waits at most 1000 ms until it has ended; a delivery that takes longer continues. Doesn't wait
    /// if called on the event thread.
    void Stop();

private:
    bool IsInForkedChild() const;
    bool EnsureConnected();
    bool EnsureStarted();
    void Wake() const;

    // Called on the event thread only.
    void Run();
    bool WaitForWork();
    void Listen();
    bool UpdateConnectionState(bool isListening);
    void Deliver(const std::string& action);
    void ConsumeWakeUps() const;

    SubscriberList subscribers_;
    bool isFailureLogged_ = false;  // used by the event thread only

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
