/// Waits for broadcasts of the platform.
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
    INIT = 0,     // has not arrived since the subscription, or is not subscribed
    SUCCESS = 1,  // has arrived
};

/// The known events and the platform's actions for them. Each map is the inverse of the other. Both are initialised
/// before ordinary static objects.
[[gnu::visibility("default")]] extern const std::map<CommonEventId, std::string> g_eventIdToActionMap;
[[gnu::visibility("default")]] extern const std::map<std::string, CommonEventId> g_actionToEventIdMap;

/// Subscribe first, then start what causes the broadcast, then wait:
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
/// Records go to the platform log and the file log. Functions throw only std::bad_alloc.
///
/// Threads: call all functions except `OnReceiveEvent` from one thread. The platform calls `OnReceiveEvent` on its own
/// event thread. There is no lock. While an event is being delivered, the calling thread
///
/// - may call `GetEventListenerRes` for both events,
/// - may unsubscribe the event that is being delivered; the call waits until the delivery has ended,
/// - must not subscribe or unsubscribe the other event. The destructor and a successful `CheckEventListenRes`
///   unsubscribe too. If both events may arrive at the same time, use one manager per event.
///
/// If a program forks after a subscription, the child gets no events. See platform/common_event.h.
class [[gnu::visibility("default")]] EventManager : public IEventReceiver {
public:
    /// Logs "EventManager::EventManager" at info level.
    EventManager();

    /// Logs "EventManager::~EventManager" at info level and unsubscribes both events.
    ~EventManager() override;

    // Subscribers hold a pointer to the manager.
    EventManager(const EventManager&) = delete;
    EventManager& operator=(const EventManager&) = delete;

    /// Subscribes the event and sets its result to `INIT`. If the event is already subscribed, the result stays.
    ///
    /// Tries up to 10 times and waits 1000 ms after every refusal, including the last. The call can therefore block
    /// for more than 10 s. To learn whether it succeeded, call `CheckEventListenRes(eventId, 0)`, which returns false
    /// if not.
    ///
    /// Logs at info level "SubscribeEvent action %{public}s", then "SubscribeEvent event %{public}s success". Each
    /// refusal logs "SubscribeEvent event %{public}s failure, will retry after %{public}d milliseconds" at info level.
    /// Logs at error level:
    ///
    ///     "SubscribeEvent commonEventId %{public}d had been subscribed"   the event is already subscribed
    ///     "SubscribeEvent action is empty"                                the event is unknown
    ///     "commonEventSubscriber is null"                                 there is no subscriber object
    void SubscribeEvent(CommonEventId eventId);

    /// Ends the subscription even if the platform reports a failure. The result becomes `INIT`.
    ///
    /// Logs "UnsubscribeEvent event %{public}d" at info level. If the event was subscribed, also logs
    /// "UnsubscribeEvent event result %{public}d" with 1 for success and 0 for failure.
    void UnsubscribeEvent(CommonEventId eventId);

    /// Marks the event as arrived. The result of an event that is not subscribed stays `INIT`.
    ///
    /// Logs at info level "OnReceiveEvent get action: %{public}s", then "COMMON_EVENT_BUNDLE_SCAN_FINISHED success" or
    /// "COMMON_EVENT_USER_ADDED success". If the action is unknown or empty, the second record is
    /// "OnReceiveEvent failed, empty action" at error level instead, and the record of `GetEventId` precedes both.
    void OnReceiveEvent(const TEKLO::EventFwk::CommonEventData& data) override;

    /// Returns immediately whether the event has arrived. For an event that is not subscribed, returns `INIT`.
    ListenerRes GetEventListenerRes(CommonEventId eventId);

    /// Checks up to `times` times whether the event has arrived, and waits 100 ms after every check that fails,
    /// including the last. Unsubscribes the event when it has arrived.
    ///
    /// Returns whether the event was subscribed, not whether it arrived: after a timeout it returns true too, and the
    /// event stays subscribed. To learn whether the event arrived, poll `GetEventListenerRes`. If `times` is 0 or
    /// negative, a subscribed event times out at once, without a check.
    ///
    /// Logs at info level "Successful event listening, count %{public}d", or after a timeout
    /// "CheckEventListenRes end, eventId %{public}d". If the event is not subscribed, logs
    /// "eventId %{public}d not SubscribeEvent" at error level.
    bool CheckEventListenRes(CommonEventId eventId, int times);

    /// Returns the platform's action for the event. For an unknown event, returns "" and logs
    /// "GetAction unknown event %{public}d" at info level.
    std::string GetAction(CommonEventId eventId);

    /// Returns the event for an action. For an unknown action, returns `UNKNOWN` and logs
    /// "GetEventId unknown action %{public}s" at info level.
    CommonEventId GetEventId(const std::string& action);

    /// Returns a subscriber for one action that forwards to this manager, never null. The caller subscribes it, and
    /// must unsubscribe it before the manager is destroyed.
    std::shared_ptr<TEKLO::EventFwk::CommonEventSubscriber> CreateEventSubscriber(const std::string& action);

private:
    std::map<CommonEventId, ListenerRes> listenerResMap_;
    std::map<CommonEventId, std::shared_ptr<TEKLO::EventFwk::CommonEventSubscriber>> subscriberMap_;
};

}  // namespace TEKLO::QuickFixEngine
