/// The platform's services in memory: the smallest port there is, and what tests control the library's surroundings with.
///
/// Link the object library `memory_services` into a program, and it takes the place of whatever platform the library
/// runs on; configure with -DQUICKFIX_PLATFORM=memory, and it is the platform. Threads: any.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "platform/common_event.h"

namespace TEKLO::MemoryPlatform {

/// One call of PlumePrint; what isn't marked public shows as "<private>".
struct LogRecord {
    int type;
    int level;
    unsigned int domain;
    std::string tag;
    std::string text;
};

/// The records since the last call; until then they are kept, so a program that runs for long has to take them.
[[gnu::visibility("default")]] std::vector<LogRecord> TakeLogRecords();

/// The parameter store is empty at first.
[[gnu::visibility("default")]] void SetParameter(const std::string& key, const std::string& value);

/// Makes the store fail, with this negative code; 0 ends that.
[[gnu::visibility("default")]] void FailParameters(int code);

enum class EventCall { SUBSCRIBE, UNSUBSCRIBE };

/// Asked for each call, on the caller's thread; false refuses a subscription, and lets an unsubscription, which takes
/// place all the same, report a failure.
using EventGate = std::function<bool(EventCall call, EventFwk::CommonEventSubscriber& subscriber)>;

/// An empty one lets everything through. Deliveries come on the thread that publishes, which is not to be the one that
/// subscribes where a subscriber relies on that.
[[gnu::visibility("default")]] void SetEventGate(EventGate gate);

}  // namespace TEKLO::MemoryPlatform
