#pragma once

#include <string>

namespace qfctl {

/// Frozen: scripts rely on these numbers.
enum class ExitCode {
    DONE = 0,         // all passed, found, or done
    FAILED = 1,       // a check failed, or what was asked for is absent
    USAGE = 2,        // the call was wrong
    NOT_CHECKED = 3,  // it could not be checked or read
    NOT_ARRIVED = 4,  // the event that was waited for did not come
};

/// Says `why` on standard error in qfctl's name and returns `code`.
ExitCode Fail(ExitCode code, const std::string& why);

}  // namespace qfctl
