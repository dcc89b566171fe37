#pragma once

#include <string>

#include "diagnosis/finding.h"

namespace qfctl {

// Each function checks one thing that an engine or qfctl depends on, and omits checks that depend on a failed one. No
// check changes a file, opens a named pipe, or waits without a timeout.
Findings CheckLog();
Findings CheckOverlay();
Findings CheckLabels();
Findings CheckCommands();
Findings CheckSystem();
Finding CheckStatusFile(const std::string& path);

// The checks of the platform services have one directory per kind of port.
Finding CheckParameterStore();
Findings CheckEvents();

}  // namespace qfctl
