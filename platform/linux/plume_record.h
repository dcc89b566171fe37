#pragma once

#include <string>

namespace TEKLO::Platform {

/// Writes to the journal. Writes to standard error instead if QUICKFIX_LOG is "stderr", if the journal's socket does
/// not exist, or if sending to the journal fails. Independent of PlumePrint, which a program may replace.
void WritePlumeRecord(int level, unsigned int domain, const char* tag, const std::string& text);

}  // namespace TEKLO::Platform
