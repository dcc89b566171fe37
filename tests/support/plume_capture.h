#pragma once

#include <string>
#include <vector>

#include "quick_fix_plume_wrapper.h"

/// Collects the platform records that are written while it lives, in place of printing them, with the threshold set.
class PlumeCapture {
public:
    explicit PlumeCapture(
        TEKLO::QuickFixEngine::QuickFixPlumeLevel threshold = TEKLO::QuickFixEngine::QuickFixPlumeLevel::INFO);
    ~PlumeCapture();
    PlumeCapture(const PlumeCapture&) = delete;
    PlumeCapture& operator=(const PlumeCapture&) = delete;

    /// "E FileIsExist: filePath is empty": level letter, function and text of each record since the last call.
    std::vector<std::string> Take();

    /// The same for records that are on both logs: one more follows where the last ones of the file log are others.
    std::vector<std::string> TakeFromBothLogs();

    /// The records whole, "3/6/d002e03/QuickFixUitls/[file_utils(FileIsExist):81] filePath is empty".
    std::vector<std::string> TakeRaw();

private:
    TEKLO::QuickFixEngine::QuickFixPlumeLevel former_;
};

using Records = std::vector<std::string>;
