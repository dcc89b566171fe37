/// Waits for the platform's broadcasts.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>

#include "i_event_receiver.h"
#include "platform/common_event.h"

namespace TEKLO::QuickFixEngine {

enum class CommonEventId : int32_t {
    UNKNOWN = 0,
    BUNDLE_SCAN_FINISHED = 1,
    USER_ADDED = 2,
};

enum class ListenerRes : int32_t {
    INIT = 0,     // not seen since the subscription, or not subscribed
    SUCCESS = 1,  // arrived
};

/// The events that can be waited for, and the platform's texts for them; each map is the other's inverse. Ready before
/// ordinary static initialisers, read-only.
[[gnu::visibility("default")]] extern const std::map<CommonEventId, std::string> g_eventIdToActionMap;
[[gnu::visibility("default")]] extern const std::map<std::string, CommonEventId> g_actionToEventIdMap;

/// Subscribe first, then start what causes the broadcast, then wait for it:
///
///     EventManager manager;
///     manager.SubscribeEvent(CommonEventId::BUNDLE_SCAN_FINISHED);
///     StartScan();
///     for (int look = 0; look < 50; ++look) {  // up to 5 seconds
///         if (manager.GetEventListenerRes(CommonEventId::BUNDLE_SCAN_FINISHED) == ListenerRes::SUCCESS) {
///             return true;  // the destructor unsubscribes
///         }
///         std::this_thread::sleep_for(std::chrono::milliseconds(100));
///     }
///     return false;
///
/// The result of `CheckEventListenRes`, which waits by itself, doesn't say whether the event arrived.
///
/// Subscribers point at the manager, so it stays where it is; it can't be copied.
///
/// Records go to the platform log and the file log. Nothing throws but the standard library when memory runs out.
///
/// Threads: one thread calls everything but `OnReceiveEvent`, which the platform calls on its event thread. There is no
/// lock and nothing is atomic; the order of the calls makes it safe. What both threads share, by design, is the result of
/// a subscribed event: its entry exists before the platform can deliver, from then on the event thread only overwrites
/// the 32 bits that `GetEventListenerRes` reads. Outside of that is to subscribe one event, or to unsubscribe it (also
/// by a successful `CheckEventListenRes` and by destruction), while this manager's other event is being delivered: wait
/// for events that may come at the same time with a manager each. The event itself may be on its way, since the Linux
/// port ends an unsubscription only when no delivery to it is running.
class [[gnu::visibility("default")]] EventManager : public IEventReceiver {
public:
    /// Records "EventManager::EventManager" at info level.
    EventManager();

    /// Records "EventManager::~EventManager" at info level and unsubscribes both events.
    ~EventManager() override;

    EventManager(const EventManager&) = delete;
    EventManager& operator=(const EventManager&) = delete;

    /// Subscribes the event; its result is then `INIT`. The platform is asked up to 10 times, with 1000 ms behind each
    /// refusal, the last one too, so the call may block for 10 s and more. That all were refused is told by
    /// `CheckEventListenRes` only.
    ///
    /// Records at info level "SubscribeEvent action %{public}s", then "SubscribeEvent event %{public}s success", or for
    /// each refusal "SubscribeEvent event %{public}s failure, will retry after %{public}d milliseconds"; at error level
    /// "SubscribeEvent commonEventId %{public}d had been subscribed", which leaves the result as it is, "SubscribeEvent
    /// action is empty" for an event that isn't known, and "commonEventSubscriber is null".
    void SubscribeEvent(CommonEventId eventId);

    /// Ends the subscription, whatever the platform says to it, and forgets the result.
    ///
    /// Records at info level "UnsubscribeEvent event %{public}d", and when there was a subscription "UnsubscribeEvent
    /// event result %{public}d", 1 or 0.
    void UnsubscribeEvent(CommonEventId eventId);

    /// Marks the event as arrived, also when it isn't subscribed.
    ///
    /// Records at info level "OnReceiveEvent get action: %{public}s", then "COMMON_EVENT_BUNDLE_SCAN_FINISHED success" or
    /// "COMMON_EVENT_USER_ADDED success"; at error level "OnReceiveEvent failed, empty action" when the action is not
    /// known or empty.
    void OnReceiveEvent(const TEKLO::EventFwk::CommonEventData& data) override;

    /// `INIT` also when the event isn't subscribed.
    ListenerRes GetEventListenerRes(CommonEventId eventId);

    /// Looks up to `times` times whether the event arrived, with 100 ms behind each look that finds nothing, the last one
    /// too. When it did, unsubscribes it.
    ///
    /// Returns whether the event was subscribed, not whether it arrived: a timeout, with the subscription left in place,
    /// gives true as well. Who needs to know polls `GetEventListenerRes` instead.
    ///
    /// Records at info level "Successful event listening, count %{public}d", or "CheckEventListenRes end, eventId
    /// %{public}d" when the looks are used up; at error level "eventId %{public}d not SubscribeEvent".
    bool CheckEventListenRes(CommonEventId eventId, int times);

    /// The platform's text, or an empty one and "GetAction unknown event %{public}d" at info level.
    std::string GetAction(CommonEventId eventId);

    /// The event, or `UNKNOWN` and "GetEventId unknown action %{public}s" at info level.
    CommonEventId GetEventId(const std::string& action);

    /// A subscriber for one action that forwards to this manager; the caller subscribes it, and unsubscribes it before
    /// the manager ends.
    std::shared_ptr<TEKLO::EventFwk::CommonEventSubscriber> CreateEventSubscriber(const std::string& action);

private:
    std::map<CommonEventId, ListenerRes> listenerResMap_;
    std::map<CommonEventId, std::shared_ptr<TEKLO::EventFwk::CommonEventSubscriber>> subscriberMap_;
};

}  // namespace TEKLO::QuickFixEngine
