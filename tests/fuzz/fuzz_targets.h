#pragma once

#include <map>
#include <string>

/// Fuzz targets for the parsers of external input, by name. A target accepts any input and aborts on a wrong result.
using FuzzTarget = void (*)(const std::string& input);
extern const std::map<std::string, FuzzTarget> FUZZ_TARGETS;
