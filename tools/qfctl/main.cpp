#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>
#include <exception>
#include <iostream>
#include <string>

#include "commands.h"
#include "escape.h"
#include "quick_fix_plume_wrapper.h"

namespace {

using TEKLO::QuickFixEngine::QuickFixPlumeLevel;
using TEKLO::QuickFixEngine::QuickFixPlumeWrapper;

constexpr char EXIT_CODES[] =
    "Exit codes:\n"
    "  0  all passed\n"
    "  1  a check failed\n"
    "  2  the call was wrong\n"
    "  3  what was asked could not be checked\n";

ExitCode Run(int argc, char** argv) {
    CLI::App app("Verifies and inspects quick-fix patches.", "qfctl");
    app.set_version_flag("--version", "qfctl " QFCTL_VERSION);
    app.require_subcommand(1);
    app.footer(EXIT_CODES);
    ExitCode result = ExitCode::DONE;
    AddVerifyCommand(app, result);
    const std::string name = argc > 1 ? argv[1] : "-";
    const auto isNamed = [&name](const CLI::App* command) { return command->get_name() == name; };
    if (name.substr(0, 1) != "-" && app.get_subcommands(isNamed).empty()) {
        std::cerr << "qfctl: there is no command " << Quote(name) << "; qfctl --help lists them\n";
        return ExitCode::USAGE;
    }
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? ExitCode::DONE : ExitCode::USAGE;
    }
    std::cout.flush();
    if (!std::cout) {
        std::cerr << "qfctl: standard output can't be written\n";
        return ExitCode::NOT_CHECKED;
    }
    return result;
}

}  // namespace

int main(int argc, char** argv) {
    // The library's platform records stay out of the way unless a command asks for them.
    QuickFixPlumeWrapper::level_ = static_cast<QuickFixPlumeLevel>(INT32_MAX);
    try {
        return static_cast<int>(Run(argc, argv));
    } catch (const std::exception& error) {
        std::cerr << "qfctl: " << error.what() << "\n";
        return static_cast<int>(ExitCode::NOT_CHECKED);
    }
}
