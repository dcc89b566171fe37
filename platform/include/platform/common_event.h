/// The common event framework: the system's broadcasts, each known by the text of its action.
///
/// Supplied by: the device's SDK, or a bundled port (platform/linux, platform/memory). An executable may also define
/// CommonEventManager's functions itself and thereby takes the place of either.
///
/// The library promises: a subscriber lives from its subscription to the end of its unsubscription, and the library
/// publishes nothing itself.
///
/// The library relies on: a subscriber gets each broadcast that matches once, in the order of publication. Its deliveries
/// don't overlap and never come on the thread that subscribed; after an unsubscription there are none. The constants of
/// `CommonEventSupport`, two different texts, are ready before any static initialiser of the library.
///
/// The Linux port: a broadcast is the D-Bus signal `Published` of the interface `teklo.CommonEvent`; its first argument
/// is the action. Only broadcasts of the owner of the bus name `teklo.CommonEventService` are taken. The bus is the
/// system's, or what the environment variable QUICKFIX_EVENT_BUS says (not in a set-user-id process): `system`,
/// `session`, or an address such as `unix:path=/tmp/bus`. Its thread has the process's signals blocked, and what a
/// delivery starts inherits that. When the program ends, deliveries end before the destruction of static objects that are
/// older than the first subscription. Subscriptions stay with the parent when a process forks; the child gets none, nor
/// can it subscribe. The platform log says why a bus can't be reached, once for each time it is lost, and why an event
/// wasn't published.
#pragma once

#include <memory>
#include <set>
#include <string>

namespace TEKLO::AAFwk {

/// What a broadcast is about.
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

    /// Lives as long as this object.
    const AAFwk::Want& GetWant() const;

private:
    AAFwk::Want want_;
};

/// The actions that a subscriber wants to hear of.
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

    /// Called on the framework's thread (the memory port's: the one that publishes), one delivery at a time. What it throws
    /// ends this one delivery, nothing else.
    virtual void OnReceiveEvent(const CommonEventData& data) = 0;

    const CommonEventSubscribeInfo& GetSubscribeInfo() const;

private:
    CommonEventSubscribeInfo subscribeInfo_;
};

/// Any thread may call, also from within a delivery. Nothing throws.
class [[gnu::visibility("default")]] CommonEventManager {
public:
    /// Shares the subscriber until it is unsubscribed. From a result of true on, the broadcasts that match are delivered,
    /// and keep coming after the bus was lost and found again; those sent in between are missed. A subscriber that is
    /// subscribed already is not added again. False when there is no bus (known at once when it is absent, within 2000 ms
    /// when it doesn't answer) or no subscriber; what was subscribed before stays so.
    static bool SubscribeCommonEvent(const std::shared_ptr<CommonEventSubscriber>& subscriber);

    /// Waits until no delivery to the subscriber is running any more, unless called from within a delivery. False when
    /// it wasn't subscribed.
    static bool UnSubscribeCommonEvent(const std::shared_ptr<CommonEventSubscriber>& subscriber);

    /// True when the bus has passed the broadcast on. False when there is no bus, or when it doesn't let the process own
    /// the event service's name, which is done only while sending; another program that does so is waited for up to
    /// 500 ms. False within 4000 ms when the bus doesn't answer; the broadcast may have been sent nevertheless.
    static bool PublishCommonEvent(const CommonEventData& data);
};

/// The actions of the system's own broadcasts.
class [[gnu::visibility("default")]] CommonEventSupport {
public:
    static const std::string COMMON_EVENT_BUNDLE_SCAN_FINISHED;
    static const std::string COMMON_EVENT_USER_ADDED;
};

}  // namespace TEKLO::EventFwk
