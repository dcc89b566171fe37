#include "event_manager.h"

#include <unistd.h>

#include <chrono>
#include <thread>

#include "event_subscriber.h"
#include "quick_fix_log.h"

namespace TEKLO::QuickFixEngine {

using EventFwk::CommonEventManager;
using EventFwk::CommonEventSupport;

namespace {

constexpr int MAX_SUBSCRIBE_ATTEMPTS = 10;
constexpr int RETRY_INTERVAL_MS = 1000;
constexpr useconds_t CHECK_INTERVAL_US = 100 * 1000;

}  // namespace

// Early init priority: other initialisers may use the maps, and the link order of a static library is arbitrary.
[[gnu::init_priority(200)]] const std::map<CommonEventId, std::string> g_eventIdToActionMap = {
    {CommonEventId::BUNDLE_SCAN_FINISHED, CommonEventSupport::COMMON_EVENT_BUNDLE_SCAN_FINISHED},
    {CommonEventId::USER_ADDED, CommonEventSupport::COMMON_EVENT_USER_ADDED},
};
[[gnu::init_priority(200)]] const std::map<std::string, CommonEventId> g_actionToEventIdMap = {
    {CommonEventSupport::COMMON_EVENT_BUNDLE_SCAN_FINISHED, CommonEventId::BUNDLE_SCAN_FINISHED},
    {CommonEventSupport::COMMON_EVENT_USER_ADDED, CommonEventId::USER_ADDED},
};

EventManager::EventManager() {
    QF_FILE_LOGI("EventManager::EventManager");
}

EventManager::~EventManager() {
    QF_FILE_LOGI("EventManager::~EventManager");
    UnsubscribeEvent(CommonEventId::BUNDLE_SCAN_FINISHED);
    UnsubscribeEvent(CommonEventId::USER_ADDED);
}

void EventManager::SubscribeEvent(CommonEventId eventId) {
    if (subscriberMap_.count(eventId) != 0) {
        QF_FILE_LOGE("SubscribeEvent commonEventId %{public}d had been subscribed", static_cast<int>(eventId));
        return;
    }
    const std::string action = GetAction(eventId);
    if (action.empty()) {
        QF_FILE_LOGE("SubscribeEvent action is empty");
        return;
    }
    QF_FILE_LOGI("SubscribeEvent action %{public}s", action.c_str());
    // Before the subscription: the event may arrive before SubscribeCommonEvent returns.
    listenerResMap_[eventId] = ListenerRes::INIT;
    const auto subscriber = CreateEventSubscriber(action);
    if (subscriber == nullptr) {
        QF_FILE_LOGE("commonEventSubscriber is null");
        return;
    }
    for (int attempt = 0; attempt < MAX_SUBSCRIBE_ATTEMPTS; ++attempt) {
        if (CommonEventManager::SubscribeCommonEvent(subscriber)) {
            subscriberMap_[eventId] = subscriber;
            QF_FILE_LOGI("SubscribeEvent event %{public}s success", action.c_str());
            return;
        }
        QF_FILE_LOGI("SubscribeEvent event %{public}s failure, will retry after %{public}d milliseconds",
                     action.c_str(), RETRY_INTERVAL_MS);
        std::this_thread::sleep_for(std::chrono::milliseconds(RETRY_INTERVAL_MS));
    }
}

void EventManager::UnsubscribeEvent(CommonEventId eventId) {
    QF_FILE_LOGI("UnsubscribeEvent event %{public}d", static_cast<int>(eventId));
    const auto entry = subscriberMap_.find(eventId);
    if (entry != subscriberMap_.end()) {
        if (const auto subscriber = entry->second; subscriber != nullptr) {
            const bool result = CommonEventManager::UnSubscribeCommonEvent(subscriber);
            QF_FILE_LOGI("UnsubscribeEvent event result %{public}d", static_cast<int>(result));
        }
        subscriberMap_.erase(entry);
    }
    listenerResMap_.erase(eventId);
}

void EventManager::OnReceiveEvent(const EventFwk::CommonEventData& data) {
    const std::string action = data.GetWant().GetAction();
    const CommonEventId eventId = GetEventId(action);
    QF_FILE_LOGI("OnReceiveEvent get action: %{public}s", action.c_str());
    if (eventId == CommonEventId::UNKNOWN || action.empty()) {
        QF_FILE_LOGE("%{public}s failed, empty action", __func__);
        return;
    }
    if (action == CommonEventSupport::COMMON_EVENT_BUNDLE_SCAN_FINISHED) {
        QF_FILE_LOGI("COMMON_EVENT_BUNDLE_SCAN_FINISHED success");
        listenerResMap_[CommonEventId::BUNDLE_SCAN_FINISHED] = ListenerRes::SUCCESS;
    } else if (action == CommonEventSupport::COMMON_EVENT_USER_ADDED) {
        QF_FILE_LOGI("COMMON_EVENT_USER_ADDED success");
        listenerResMap_[CommonEventId::USER_ADDED] = ListenerRes::SUCCESS;
    }
}

ListenerRes EventManager::GetEventListenerRes(CommonEventId eventId) {
    return subscriberMap_.count(eventId) == 0 ? ListenerRes::INIT : listenerResMap_[eventId];
}

bool EventManager::CheckEventListenRes(CommonEventId eventId, int times) {
    if (subscriberMap_.count(eventId) == 0) {
        QF_FILE_LOGE("eventId %{public}d not SubscribeEvent", static_cast<int>(eventId));
        return false;
    }
    for (int count = 1; count <= times; ++count) {
        if (GetEventListenerRes(eventId) == ListenerRes::SUCCESS) {
            QF_FILE_LOGI("Successful event listening, count %{public}d", count);
            UnsubscribeEvent(eventId);
            return true;
        }
        usleep(CHECK_INTERVAL_US);
    }
    QF_FILE_LOGI("CheckEventListenRes end, eventId %{public}d", static_cast<int>(eventId));
    return true;
}

std::string EventManager::GetAction(CommonEventId eventId) {
    const auto entry = g_eventIdToActionMap.find(eventId);
    if (entry == g_eventIdToActionMap.end()) {
        QF_FILE_LOGI("GetAction unknown event %{public}d", static_cast<int>(eventId));
        return "";
    }
    return entry->second;
}

CommonEventId EventManager::GetEventId(const std::string& action) {
    const auto entry = g_actionToEventIdMap.find(action);
    if (entry == g_actionToEventIdMap.end()) {
        QF_FILE_LOGI("GetEventId unknown action %{public}s", action.c_str());
        return CommonEventId::UNKNOWN;
    }
    return entry->second;
}

std::shared_ptr<EventFwk::CommonEventSubscriber> EventManager::CreateEventSubscriber(const std::string& action) {
    EventFwk::MatchingSkills matchingSkills;
    matchingSkills.AddEvent(action);
    const EventFwk::CommonEventSubscribeInfo subscribeInfo(matchingSkills);
    return std::make_shared<EventSubscriber>(subscribeInfo, this);
}

}  // namespace TEKLO::QuickFixEngine
