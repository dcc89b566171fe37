#pragma once

#include <chrono>
#include <string>

namespace TEKLO::Platform {

inline constexpr char EVENT_SERVICE[] = "teklo.CommonEventService";
inline constexpr char EVENT_INTERFACE[] = "teklo.CommonEvent";
inline constexpr char EVENT_SIGNAL[] = "Published";
inline constexpr char EVENT_PATH[] = "/teklo/CommonEvent";

/// How long a subscriber waits for the connection.
inline constexpr std::chrono::milliseconds CONNECT_TIMEOUT{2000};

/// How long the bus may take to answer. Shorter than CONNECT_TIMEOUT, so that the reason is logged before a subscriber
/// gives up.
inline constexpr std::chrono::milliseconds ANSWER_TIMEOUT{1800};

/// Returns "system", "session" or an address.
std::string BusFromEnvironment();

/// Bypasses PlumePrint, which the program may replace.
void LogEventWarning(const std::string& what, const std::string& why);

}  // namespace TEKLO::Platform
