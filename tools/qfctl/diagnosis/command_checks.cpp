#include <sys/wait.h>

#include <chrono>
#include <initializer_list>

#include "diagnosis/checks.h"
#include "system/executable.h"
#include "system/timed_command.h"

namespace qfctl {
namespace {

constexpr std::chrono::milliseconds BUNDLE_TOOL_TIMEOUT{5000};
constexpr char NO_APPS[] = ", so apps can't be verified";

std::string ListMissing(std::initializer_list<const char*> commands) {
    std::string missing;
    for (const char* command : commands) {
        missing += IsInPath(command) ? "" : std::string(missing.empty() ? "" : ", ") + command;
    }
    return missing;
}

Finding CheckShellCommands() {
    const std::string name = "commands";
    const std::string advice = "install them, or add their folder to PATH";
    if (!IsExecutable("/bin/sh")) {
        return {name, Severity::ERROR,
                "/bin/sh can't be executed, so an engine can't verify apps, nor modes and labels through the shell",
                "install a shell"};
    }
    const std::string missingForApps = ListMissing({"grep", "egrep", "tail"});
    const std::string noApps = missingForApps.empty() ? "" : "not in PATH: " + missingForApps + NO_APPS;
    if (!IsInPath("ls")) {
        return {name, Severity::WARNING,
                "not in PATH: ls, so files can't be verified through the shell" + (noApps.empty() ? "" : "; " + noApps),
                advice};
    }
    if (!noApps.empty()) {
        return {name, Severity::WARNING, noApps, advice};
    }
    return {name, Severity::OK, "sh, ls, grep, egrep and tail can be executed", ""};
}

Finding CheckBundleToolAnswers() {
    const std::string name = "bm";
    if (!IsInPath("bm")) {
        return {name, Severity::WARNING, std::string("not in PATH") + NO_APPS,
                "add the folder of the device's bundle tool to PATH"};
    }
    const std::string advice = "run bm dump -a and read its error message";
    const TimedResult result = RunTimed("exec bm dump -a", BUNDLE_TOOL_TIMEOUT);
    if (!result.hasEnded) {
        const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(BUNDLE_TOOL_TIMEOUT).count();
        return {name, Severity::ERROR,
                "bm dump -a does not end within " + std::to_string(seconds) + " seconds" + NO_APPS, advice};
    }
    if (result.status != 0) {
        const std::string end = WIFEXITED(result.status) ? "exit code " + std::to_string(WEXITSTATUS(result.status))
                                                         : "signal " + std::to_string(WTERMSIG(result.status));
        return {name, Severity::ERROR, "bm dump -a ends with " + end + NO_APPS, advice};
    }
    return {name, Severity::OK, "bm dump -a answers, lines: " + std::to_string(result.lines), ""};
}

}  // namespace

Findings CheckCommands() {
    Findings findings = {CheckShellCommands()};
    if (IsExecutable("/bin/sh")) {
        findings.push_back(CheckBundleToolAnswers());
    }
    return findings;
}

}  // namespace qfctl
