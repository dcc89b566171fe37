#pragma once

#include <CLI/App.hpp>

#include "failure.h"

namespace qfctl {

/// Added to each FILE of hash and to the KEY of cmdline before CLI11 parses them: CLI11 2.1 gives texts such as "++",
/// "[a,b]" and the names of commands a special meaning.
constexpr char OPERAND_PREFIX = '=';

// Each adds subcommands, which store their exit code in `result` when they run.
void AddVerifyCommand(CLI::App& app, ExitCode& result);
void AddStatusCommand(CLI::App& app, ExitCode& result);
void AddLogCommand(CLI::App& app, ExitCode& result);
void AddHashCommand(CLI::App& app, ExitCode& result);
void AddEventCommands(CLI::App& app, ExitCode& result);
void AddSystemCommands(CLI::App& app, ExitCode& result);
void AddDoctorCommand(CLI::App& app, ExitCode& result);

}  // namespace qfctl
