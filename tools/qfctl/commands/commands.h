#pragma once

#include <CLI/App.hpp>

#include "failure.h"

namespace qfctl {

/// Prefix of each FILE of hash and the KEY of cmdline while CLI11 parses them. Without it, CLI11 2.1 gives "++",
/// "[a,b]" and the names of commands a special meaning.
constexpr char OPERAND_PREFIX = '=';

// Each function adds subcommands that store their exit code in `result`.
void AddVerifyCommand(CLI::App& app, ExitCode& result);
void AddStatusCommand(CLI::App& app, ExitCode& result);
void AddLogCommand(CLI::App& app, ExitCode& result);
void AddHashCommand(CLI::App& app, ExitCode& result);
void AddEventCommands(CLI::App& app, ExitCode& result);
void AddSystemCommands(CLI::App& app, ExitCode& result);
void AddDoctorCommand(CLI::App& app, ExitCode& result);

}  // namespace qfctl
