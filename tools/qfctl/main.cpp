#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>
#include <algorithm>
#include <exception>
#include <iostream>
#include <string>
#include <vector>

#include "commands/commands.h"
#include "quick_fix_plume_wrapper.h"
#include "quick_fix_version.h"
#include "system/standard_streams.h"
#include "text/escape.h"

namespace qfctl {
namespace {

using TEKLO::QuickFixEngine::QuickFixPlumeLevel;
using TEKLO::QuickFixEngine::QuickFixPlumeWrapper;

constexpr char EXIT_CODES[] =
    "Exit codes:\n"
    "  0  all passed, found, or done\n"
    "  1  a check failed, or what was asked for is absent or failed\n"
    "  2  the call was wrong\n"
    "  3  it could not be checked or read\n"
    "  4  the event did not come\n";

/// The arguments from the last to the first, as the parser takes them, with operands marked.
std::vector<std::string> ArgumentsForParser(const std::vector<std::string>& arguments) {
    const std::string command = arguments.empty() ? "" : arguments[0];
    size_t operands = command == "hash" ? arguments.size() : command == "cmdline" ? 1 : 0;
    bool optionsEnded = false;
    std::vector<std::string> reversed;
    for (const std::string& argument : arguments) {
        const bool isOperand = optionsEnded || argument.size() < 2 || argument[0] != '-';
        if (reversed.empty() || operands == 0) {
            reversed.push_back(argument);
        } else if (isOperand) {
            reversed.push_back(OPERAND_PREFIX + argument);
            --operands;
        } else if (argument == "--") {
            optionsEnded = true;
        } else {
            reversed.push_back(argument);
        }
    }
    std::reverse(reversed.begin(), reversed.end());
    return reversed;
}

ExitCode Run(int argc, char** argv) {
    CLI::App app("Verifies and inspects quick-fix patches.", "qfctl");
    app.set_version_flag("--version", "qfctl " QUICKFIX_UTILS_VERSION);
    app.require_subcommand(1);
    app.footer(EXIT_CODES);
    ExitCode result = ExitCode::DONE;
    AddVerifyCommand(app, result);
    AddStatusCommand(app, result);
    AddLogCommand(app, result);
    AddHashCommand(app, result);
    AddEventCommands(app, result);
    AddSystemCommands(app, result);
    const std::string name = argc > 1 ? argv[1] : "-";
    const auto isNamed = [&name](const CLI::App* command) { return command->get_name() == name; };
    if (name.substr(0, 1) != "-" && app.get_subcommands(isNamed).empty()) {
        return Fail(ExitCode::USAGE, "there is no command " + Quote(name) + "; qfctl --help lists them");
    }
    try {
        app.parse(ArgumentsForParser({argv + 1, argv + argc}));
    } catch (const CLI::ParseError& error) {
        if (error.get_exit_code() != 0) {
            return Fail(ExitCode::USAGE, Printable(error.what()) + "; see qfctl --help or qfctl COMMAND --help");
        }
        app.exit(error);  // prints the help or the version
    }
    std::cout.flush();
    if (!std::cout) {
        return Fail(ExitCode::NOT_CHECKED, "standard output can't be written");
    }
    return result;
}

}  // namespace

int Main(int argc, char** argv) {
    if (!OpenClosedStandardStreams()) {
        return static_cast<int>(ExitCode::NOT_CHECKED);
    }
    // The library's platform records stay out of the way unless a command asks for them.
    QuickFixPlumeWrapper::level_ = static_cast<QuickFixPlumeLevel>(INT32_MAX);
    try {
        return static_cast<int>(Run(argc, argv));
    } catch (const std::exception& error) {
        return static_cast<int>(Fail(ExitCode::NOT_CHECKED, Printable(error.what())));
    }
}

}  // namespace qfctl

int main(int argc, char** argv) {
    return qfctl::Main(argc, argv);
}
