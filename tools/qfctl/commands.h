#pragma once

#include <CLI/App.hpp>

#include "exit_code.h"

// Each adds its subcommands, which leave their outcome in `result` when they run.
void AddVerifyCommand(CLI::App& app, ExitCode& result);
void AddStatusCommand(CLI::App& app, ExitCode& result);
void AddLogCommand(CLI::App& app, ExitCode& result);
void AddHashCommand(CLI::App& app, ExitCode& result);
void AddEventCommands(CLI::App& app, ExitCode& result);
void AddSystemCommands(CLI::App& app, ExitCode& result);
