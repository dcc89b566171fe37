#pragma once

#include <string>

/// Does a call, "NAME WORD...", of the library or of what surrounds it. Returns it as it should stand in a transcript,
/// "NAME WORD... -> OUTCOME" and below it a line for each record.
std::string Do(const std::string& call);
