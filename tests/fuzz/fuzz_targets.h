#pragma once

#include <map>
#include <string>

/// What reads texts of others, by name. Each takes any input and aborts when the outcome is not what it should be.
using FuzzTarget = void (*)(const std::string& input);
extern const std::map<std::string, FuzzTarget> FUZZ_TARGETS;
