#pragma once

#include <CLI/App.hpp>
#include <memory>

#include "failure.h"

namespace qfctl {

/// Adds a subcommand that calls `run` with the options and stores the exit code in `result`.
template <typename Options>
CLI::App* AddCommand(CLI::App& parent, ExitCode& result, const std::shared_ptr<Options>& options, const char* name,
                     const char* help, ExitCode (*run)(const Options&)) {
    CLI::App* command = parent.add_subcommand(name, help);
    command->callback([options, run, &result] { result = run(*options); });
    return command;
}

/// Rejects an empty file name, for CLI::Option::check.
inline std::string CheckFileName(const std::string& name) {
    return name.empty() ? "the file name is empty" : "";
}

}  // namespace qfctl
