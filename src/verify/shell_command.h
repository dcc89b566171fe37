#pragma once

#include <cstddef>
#include <optional>
#include <string>

namespace TEKLO::QuickFixEngine {

// Both functions run a shell command once and return when it has ended. They return nullopt if no shell can be started.

/// Returns the output up to and including its first line feed, cut to `limit` bytes and at a zero byte.
std::optional<std::string> ReadLineOf(const std::string& command, size_t limit);

/// Returns the first 512 bytes of the output.
std::optional<std::string> ReadBlockOf(const std::string& command);

}  // namespace TEKLO::QuickFixEngine
