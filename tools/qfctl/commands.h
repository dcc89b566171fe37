#pragma once

#include <CLI/App.hpp>

#include "exit_code.h"

// Each adds one subcommand, which leaves its outcome in `result` when it runs.
void AddVerifyCommand(CLI::App& app, ExitCode& result);
