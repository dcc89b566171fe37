#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "quick_fix_status_record.h"

namespace qfctl {

/// The properties of a status file that qfctl checks before the library changes the file.
struct StatusFile {
    TEKLO::QuickFixEngine::QuickFixStatus values;
    std::string key = "Status";  // key of the status line
    unsigned int mode = 0600;
    std::string formatMismatch;  // why this is not a status file; empty if it is one
};

/// Returns nullopt if the file does not exist. Throws Failure if its values can't be read completely.
std::optional<StatusFile> InspectStatusFile(const std::string& path);

/// Reads a status file under a lock. Throws Failure if it does not exist or its values can't be read completely.
StatusFile ReadStatusFile(const std::string& path);

/// Throws Failure if a status file can't hold these values under this key.
void CheckStatusFits(const TEKLO::QuickFixEngine::QuickFixStatus& status, const std::string& key);

/// Parses a decimal 32-bit integer. Returns nullopt for any other text.
std::optional<int32_t> ParseErrorCode(const std::string& text);

/// Parses the error codes of a status file: decimal 32-bit integers, separated by commas. Throws Failure if they have
/// another format.
std::vector<int32_t> ParseErrorCodes(const std::string& text);

}  // namespace qfctl
