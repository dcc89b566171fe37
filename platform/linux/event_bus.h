#pragma once

#include <sdbus-c++/IConnection.h>

#include <memory>
#include <string>

namespace TEKLO::Platform {

inline constexpr char EVENT_SERVICE[] = "teklo.CommonEventService";
inline constexpr char EVENT_INTERFACE[] = "teklo.CommonEvent";
inline constexpr char EVENT_SIGNAL[] = "Published";
inline constexpr char EVENT_PATH[] = "/teklo/CommonEvent";

/// "system", "session", or an address.
std::string ChosenBus();

/// Throws sdbus::Error when there is no such bus. Waits up to 90 seconds for one that doesn't answer; calls on the
/// connection wait 2.
std::unique_ptr<sdbus::IConnection> ConnectTo(const std::string& bus);

/// Says on the platform log what went wrong. Past the replaceable PlumePrint, so that it is no record of a caller's.
void ReportEventTrouble(const std::string& what, const std::string& why);

}  // namespace TEKLO::Platform
