#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>
#include <algorithm>
#include <csignal>
#include <cstdint>
#include <iostream>
#include <string>
#include <vector>

#include "commands/commands.h"
#include "failure.h"
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
    "  1  a check or action failed, or the requested item is absent\n"
    "  2  usage error\n"
    "  3  an item could not be checked or read\n"
    "  4  the awaited event did not arrive\n";

/// Returns the arguments in reverse order, as CLI11 expects them, with OPERAND_PREFIX before each FILE of hash and the
/// KEY of cmdline.
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

using AddFunction = void (*)(CLI::App& app, ExitCode& result);

constexpr AddFunction COMMANDS[] = {AddVerifyCommand, AddStatusCommand,  AddLogCommand,   AddHashCommand,
                                    AddEventCommands, AddSystemCommands, AddDoctorCommand};

/// Parses the arguments. CLI11 calls the command while parsing.
ExitCode RunCommand(const std::vector<std::string>& arguments) {
    CLI::App app("Verifies and inspects quick-fix patches.", "qfctl");
    app.set_version_flag("--version", "qfctl " QUICKFIX_UTILS_VERSION);
    app.require_subcommand(1);
    app.footer(EXIT_CODES);
    ExitCode result = ExitCode::DONE;
    for (const AddFunction add : COMMANDS) {
        add(app, result);
    }
    const std::string name = arguments.empty() ? "-" : arguments[0];
    const auto isNamed = [&name](const CLI::App* command) { return command->get_name() == name; };
    if (name.substr(0, 1) != "-" && app.get_subcommands(isNamed).empty()) {
        throw Failure(ExitCode::USAGE, "there is no command " + Quote(name) + "; qfctl --help lists them");
    }
    try {
        app.parse(ArgumentsForParser(arguments));
    } catch (const CLI::ParseError& error) {
        if (error.get_exit_code() != 0) {
            throw Failure(ExitCode::USAGE,
                          QuoteIfUnprintable(error.what()) + "; see qfctl --help or qfctl COMMAND --help");
        }
        app.exit(error);  // prints the help or the version
    }
    return result;
}

/// Makes a write past the file size limit fail with EFBIG instead of killing qfctl with SIGXFSZ. Installs a handler,
/// because the commands that qfctl runs would inherit an ignored signal.
void CatchFileSizeSignal() {
    if (signal(SIGXFSZ, [](int) {}) == SIG_IGN) {
        (void)signal(SIGXFSZ, SIG_IGN);
    }
}

void FlushOutput() {
    std::cout.flush();
    if (!std::cout) {
        throw Failure(ExitCode::NOT_CHECKED, "standard output can't be written");
    }
}

ExitCode Run(const std::vector<std::string>& arguments) {
    OpenClosedStandardStreams();
    CatchFileSizeSignal();
    // Without --verbose the library's platform records are not printed.
    QuickFixPlumeWrapper::level_ = static_cast<QuickFixPlumeLevel>(INT32_MAX);
    const ExitCode result = Attempt([&arguments] { return RunCommand(arguments); });
    FlushOutput();
    return result;
}

}  // namespace
}  // namespace qfctl

int main(int argc, char** argv) {
    using namespace qfctl;
    return static_cast<int>(Attempt([argc, argv] { return Run({argv + 1, argv + argc}); }));
}
