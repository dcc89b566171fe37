#pragma once

#include <string>

#include "diagnosis/finding.h"

namespace qfctl {

// Each examines one thing that an engine or qfctl relies on, and leaves out what a finding before makes pointless. None
// changes a file, opens a pipe, or waits without a deadline.
Findings CheckLog();
Findings CheckOverlay();
Findings CheckLabels();
Findings CheckCommands();
Findings CheckSystem();
Finding CheckStatusFile(const std::string& path);

// The checks of the platform's services, a folder for each kind of port.
Finding CheckParameterStore();
Findings CheckEvents();

}  // namespace qfctl
