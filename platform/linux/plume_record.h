#pragma once

#include <string>

namespace TEKLO::Platform {

/// Writes to the journal if its socket exists, otherwise to standard error. Independent of PlumePrint, which a program
/// may replace.
void WritePlumeRecord(int level, unsigned int domain, const char* tag, const std::string& text);

}  // namespace TEKLO::Platform
