#pragma once

/// Frozen: scripts rely on these numbers.
enum class ExitCode {
    DONE = 0,         // all passed
    FAILED = 1,       // a check failed
    USAGE = 2,        // the call was wrong
    NOT_CHECKED = 3,  // what was asked could not be checked
};
