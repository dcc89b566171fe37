#pragma once

#include <cstddef>
#include <optional>
#include <string>

namespace TEKLO::QuickFixEngine {

/// Each runs a command through the shell, once, and returns when the command has ended; nothing when it can't be started.

/// The output up to its first line feed, that included, cut to `limit` bytes and at a zero byte.
std::optional<std::string> ReadLineOf(const std::string& command, size_t limit);

/// The first 512 bytes of the output.
std::optional<std::string> ReadBlockOf(const std::string& command);

}  // namespace TEKLO::QuickFixEngine
