#pragma once

#include <sdbus-c++/IConnection.h>
#include <sdbus-c++/Message.h>

#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <thread>

#include "subscriber_list.h"

/// Hears broadcasts on the bus and delivers them, on a thread of its own. The connection is the thread's alone, open
/// while there are subscribers, and opened again when it is lost.
class EventListener {
public:
    EventListener();
    ~EventListener() = delete;  // its thread may outlive everything else
    EventListener(const EventListener&) = delete;
    EventListener& operator=(const EventListener&) = delete;

    bool Subscribe(const SubscriberList::Subscriber& subscriber);
    bool Unsubscribe(const SubscriberList::Subscriber& subscriber);

    /// Ends the thread for good.
    void Stop();

private:
    bool EnsureConnected();
    void Wake() const;

    // The thread's own.
    void Run();
    bool WaitForWork();
    void Listen();
    bool GoesOn();
    void Receive(sdbus::Message& message);
    void SleepUntilReady(const sdbus::IConnection::PollData& bus) const;

    SubscriberList subscribers_;
    const int wakeUp_;
    bool troubleReported_ = false;

    std::mutex mutex_;
    std::condition_variable changed_;
    bool connected_ = false;
    bool requested_ = false;
    bool stopped_ = false;
    bool ended_ = false;
    uint64_t startedAttempts_ = 0;
    uint64_t finishedAttempts_ = 0;
    std::thread thread_;
};
