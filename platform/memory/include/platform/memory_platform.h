/// The platform's services in memory: a minimal port, and a test double for the platform.
///
/// Link the object library `memory_services` into a program to replace the platform that the library runs on.
/// Configure with -DQUICKFIX_PLATFORM=memory to use it as the platform. Any thread may call any function.
///
/// There is no event thread: `OnReceiveEvent` runs on the thread that publishes. To test code that expects another
/// thread, do not publish on the thread that subscribed.
#pragma once

#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "platform/common_event.h"

namespace TEKLO::MemoryPlatform {

/// One call of PlumePrint. Arguments that are not marked public are "<private>".
struct LogRecord {
    int type;
    int level;
    unsigned int domain;
    std::string tag;
    std::string text;
};

/// Returns and removes all records. The records accumulate until then, so a long-running program must call this
/// function.
[[gnu::visibility("default")]] std::vector<LogRecord> TakeLogRecords();

/// Sets a parameter. The store is initially empty.
[[gnu::visibility("default")]] void SetParameter(const std::string& key, const std::string& value);

/// Makes GetParameter fail with this negative code. 0 ends the failures.
[[gnu::visibility("default")]] void FailParameters(int code);

enum class EventCall { SUBSCRIBE, UNSUBSCRIBE };

/// Called for each subscription and unsubscription, on the calling thread. If the filter returns false, so does the
/// call. A subscription is then refused, and an earlier subscription of the same subscriber ends. An unsubscription
/// still takes effect.
using EventFilter = std::function<bool(EventCall call, EventFwk::CommonEventSubscriber& subscriber)>;

/// Sets the filter. An empty filter accepts every call.
[[gnu::visibility("default")]] void SetEventFilter(EventFilter filter);

/// Former names of `EventFilter` and `SetEventFilter`.
using EventGate = EventFilter;
inline void SetEventGate(EventGate filter) {
    SetEventFilter(std::move(filter));
}

}  // namespace TEKLO::MemoryPlatform
