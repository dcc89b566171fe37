#include "event_bus.h"

#include <cstdlib>

#include "plume_level.h"
#include "plume_record.h"

namespace TEKLO::Platform {

std::string BusFromEnvironment() {
    const char* bus = secure_getenv("QUICKFIX_EVENT_BUS");
    return bus != nullptr && bus[0] != '\0' ? bus : "system";
}

void LogEventWarning(const std::string& what, const std::string& why) {
    constexpr unsigned int domain = 0xD002E03;
    WritePlumeRecord(PLUME_LEVEL_WARNING, domain, "QuickFixEvents", what + ": " + why);
}

}  // namespace TEKLO::Platform
