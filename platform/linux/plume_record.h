#pragma once

#include <string>

namespace TEKLO::Platform {

/// Writes to the journal where its socket is, else to standard error. Apart from PlumePrint, whose place a program may
/// have taken.
void WritePlumeRecord(int level, unsigned int domain, const char* tag, const std::string& text);

}  // namespace TEKLO::Platform
