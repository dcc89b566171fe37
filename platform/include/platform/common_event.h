/// The common event framework: broadcasts of the system, identified by the text of their action.
///
/// Supplied by: the device's SDK, or a bundled port (platform/linux, platform/memory). A program may define the
/// functions of CommonEventManager itself to replace them.
///
/// The library promises: a subscriber exists from its subscription until its unsubscription has returned. The library
/// publishes nothing.
///
/// The library relies on: a subscriber gets each matching broadcast once, in the order of publication. Deliveries to
/// one subscriber don't overlap, and never run on the thread that subscribed. No delivery starts after the
/// unsubscription has returned. The two constants of `CommonEventSupport` differ and are initialised before the
/// library's static objects.
///
/// The Linux port: a broadcast is the D-Bus signal `Published` of the interface `teklo.CommonEvent`; its first
/// argument is the action. A subscriber gets only signals from the owner of the bus name `teklo.CommonEventService`.
///
/// - The bus is the system bus. The environment variable QUICKFIX_EVENT_BUS selects another one: `system`, `session`,
///   or an address such as `unix:path=/tmp/bus`. A set-user-id process ignores the variable.
/// - The event thread blocks signals that are sent to the process. Threads and processes that a delivery starts inherit
///   the signal mask of the event thread.
/// - At exit, deliveries end before static objects are destroyed that were constructed before the first subscription.
///   The exit waits at most 1000 ms; a delivery that takes longer continues during the destruction.
/// - If a program forks after its first subscription, the child gets no events, and subscribing and unsubscribing
///   return false in it. The subscriptions stay with the parent.
/// - The platform log shows why an event was not published, and once per loss why the bus can't be reached.
#pragma once

#include <memory>
#include <set>
#include <string>

namespace TEKLO::AAFwk {

/// The content of a broadcast.
class [[gnu::visibility("default")]] Want {
public:
    Want& SetAction(const std::string& action);
    std::string GetAction() const;

private:
    std::string action_;
};

}  // namespace TEKLO::AAFwk

namespace TEKLO::EventFwk {

/// One broadcast.
class [[gnu::visibility("default")]] CommonEventData {
public:
    CommonEventData();
    explicit CommonEventData(const AAFwk::Want& want);

    /// The reference is valid as long as this object.
    const AAFwk::Want& GetWant() const;

private:
    AAFwk::Want want_;
};

/// The actions that a subscriber gets.
class [[gnu::visibility("default")]] MatchingSkills {
public:
    MatchingSkills();
    void AddEvent(const std::string& event);
    bool HasEvent(const std::string& event) const;

private:
    std::set<std::string> events_;
};

class [[gnu::visibility("default")]] CommonEventSubscribeInfo {
public:
    explicit CommonEventSubscribeInfo(const MatchingSkills& matchingSkills);
    const MatchingSkills& GetMatchingSkills() const;

private:
    MatchingSkills matchingSkills_;
};

class [[gnu::visibility("default")]] CommonEventSubscriber {
public:
    explicit CommonEventSubscriber(const CommonEventSubscribeInfo& subscribeInfo);
    virtual ~CommonEventSubscriber();
    CommonEventSubscriber(const CommonEventSubscriber&) = delete;
    CommonEventSubscriber& operator=(const CommonEventSubscriber&) = delete;

    /// Called on the event thread, or in the memory port on the publishing thread. Calls for one subscriber don't
    /// overlap. An exception ends only this delivery.
    virtual void OnReceiveEvent(const CommonEventData& data) = 0;

    const CommonEventSubscribeInfo& GetSubscribeInfo() const;

private:
    CommonEventSubscribeInfo subscribeInfo_;
};

/// Any thread may call any function, even from `OnReceiveEvent`. Functions throw only std::bad_alloc.
class [[gnu::visibility("default")]] CommonEventManager {
public:
    /// Shares ownership of the subscriber until it is unsubscribed. Once this has returned true, matching broadcasts
    /// are delivered. If the connection to the bus is lost, the port reconnects. Broadcasts
    /// until then are lost.
    ///
    /// Returns false if the subscriber is null, if there is no bus (at once), and if the bus doesn't answer (after up
    /// to 2000 ms). The subscriber is then not subscribed, unless it was subscribed before. A second subscription does
    /// not deliver events twice.
    static bool SubscribeCommonEvent(const std::shared_ptr<CommonEventSubscriber>& subscriber);

    /// Ends the subscription. Waits until a running delivery to the subscriber has ended, unless called from
    /// `OnReceiveEvent`. Returns false if the subscriber is null or was not subscribed.
    static bool UnSubscribeCommonEvent(const std::shared_ptr<CommonEventSubscriber>& subscriber);

    /// Sends a broadcast. Returns true when the bus has passed it on.
    ///
    /// To send, the process briefly owns the name of the event service. Returns false if there is no bus, if the bus
    /// denies the name, and after 500 ms if another program keeps it. Returns false after up to 4000 ms if the bus
    /// doesn't answer; the bus may have passed the broadcast on nevertheless.
    static bool PublishCommonEvent(const CommonEventData& data);
};

/// The actions of the system's broadcasts.
class [[gnu::visibility("default")]] CommonEventSupport {
public:
    static const std::string COMMON_EVENT_BUNDLE_SCAN_FINISHED;
    static const std::string COMMON_EVENT_USER_ADDED;
};

}  // namespace TEKLO::EventFwk
