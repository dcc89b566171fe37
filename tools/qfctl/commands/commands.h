#pragma once

#include <CLI/App.hpp>

#include "failure.h"

namespace qfctl {

/// Stands in front of each FILE of hash and the KEY of cmdline when they reach the parser, which gives texts such as
/// "++", "[a,b]" and the names of commands a meaning of their own.
constexpr char OPERAND_PREFIX = '=';

// Each adds its subcommands, which leave their outcome in `result` when they run.
void AddVerifyCommand(CLI::App& app, ExitCode& result);
void AddStatusCommand(CLI::App& app, ExitCode& result);
void AddLogCommand(CLI::App& app, ExitCode& result);
void AddHashCommand(CLI::App& app, ExitCode& result);
void AddEventCommands(CLI::App& app, ExitCode& result);
void AddSystemCommands(CLI::App& app, ExitCode& result);

}  // namespace qfctl
