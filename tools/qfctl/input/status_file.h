#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "quick_fix_status_record.h"

namespace qfctl {

/// What qfctl has to know of a status file before it lets the library change it.
struct StatusFile {
    TEKLO::QuickFixEngine::QuickFixStatus values;
    std::string key = "Status";  // of the status line
    unsigned int mode = 0600;
    std::string formatMismatch;  // what shows that it was not written as a status file; empty for a status file
};

/// Nothing when there is no such file. Throws Failure when its values can't be read whole.
std::optional<StatusFile> InspectStatusFile(const std::string& path);

/// Reads a status file while no other qfctl changes it. Throws Failure when there is none, or its values can't be read whole.
StatusFile ReadStatusFile(const std::string& path);

/// Throws Failure when a status file can't hold these values under this key.
void CheckStatusFits(const TEKLO::QuickFixEngine::QuickFixStatus& status, const std::string& key);

/// A decimal number of 32 bits.
std::optional<int32_t> ParseErrorCode(const std::string& text);

/// The error codes of a status file, decimal numbers of 32 bits with a comma after each. Throws Failure when they are
/// something else.
std::vector<int32_t> ParseErrorCodes(const std::string& text);

}  // namespace qfctl
