#pragma once

#include <string>
#include <vector>

#include "quick_fix_plume_wrapper.h"

/// Sets the threshold for its lifetime, and collects platform records instead of printing them.
class PlumeCapture {
public:
    explicit PlumeCapture(
        TEKLO::QuickFixEngine::QuickFixPlumeLevel threshold = TEKLO::QuickFixEngine::QuickFixPlumeLevel::INFO);
    ~PlumeCapture();
    PlumeCapture(const PlumeCapture&) = delete;
    PlumeCapture& operator=(const PlumeCapture&) = delete;

    /// Returns the records since the last call as "E FileIsExist: filePath is empty": level, function and text.
    std::vector<std::string> Take();

    /// Like Take. Appends an error message if these records aren't the last ones of the file log.
    std::vector<std::string> TakeFromBothLogs();

    /// Returns the complete records, "3/6/d002e03/QuickFixUitls/[file_utils(FileIsExist):81] filePath is empty".
    std::vector<std::string> TakeRaw();

private:
    TEKLO::QuickFixEngine::QuickFixPlumeLevel previous_;
};

using Records = std::vector<std::string>;
