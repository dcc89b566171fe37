#include <unistd.h>

#include <algorithm>
#include <array>
#include <iomanip>
#include <iostream>
#include <iterator>
#include <memory>
#include <string>

#include "commands/command.h"
#include "commands/commands.h"
#include "diagnosis/checks.h"
#include "system/terminal.h"
#include "text/escape.h"
#include "text/json_text.h"

namespace qfctl {
namespace {

struct DoctorOptions {
    std::string statusFile;
    bool json = false;
};

struct Group {
    const char* name;
    Findings (*check)();
};

constexpr std::array<Group, 6> GROUPS = {{
    {"log", CheckLog},
    {"overlay", CheckOverlay},
    {"labels", CheckLabels},
    {"commands", CheckCommands},
    {"system", CheckSystem},
    {"events", CheckEvents},
}};

struct State {
    const char* name;
    const char* color;
    ExitCode code;
};

State StateOf(Severity severity) {
    switch (severity) {
        case Severity::OK:
            return {"ok", "\x1b[32m", ExitCode::DONE};
        case Severity::WARNING:
            return {"warning", "\x1b[33m", ExitCode::DONE};
        case Severity::ERROR:
            return {"error", "\x1b[31m", ExitCode::FAILED};
        case Severity::UNKNOWN:
            break;
    }
    return {"unknown", "\x1b[35m", ExitCode::NOT_CHECKED};
}

Findings RunGroup(const Group& group) {
    try {
        return group.check();
    } catch (const std::exception& error) {
        return {{group.name, Severity::UNKNOWN, QuoteIfUnprintable(error.what()), "try again, or as another user"}};
    }
}

Findings RunChecks(const std::string& statusFile) {
    Findings findings;
    for (const Group& group : GROUPS) {
        Findings found = RunGroup(group);
        std::move(found.begin(), found.end(), std::back_inserter(findings));
    }
    if (!statusFile.empty()) {
        findings.push_back(CheckStatusFile(statusFile));
    }
    return findings;
}

void PrintLines(const Findings& findings) {
    const bool hasColor = SupportsColor(STDOUT_FILENO);
    for (const Finding& finding : findings) {
        const State state = StateOf(finding.severity);
        std::cout << (hasColor ? state.color : "") << std::left << std::setw(9) << state.name
                  << (hasColor ? "\x1b[0m" : "") << std::setw(18) << finding.name << finding.text
                  << (finding.advice.empty() ? "" : "; ") << finding.advice << "\n";
    }
}

void PrintJson(const Findings& findings) {
    const Json object(cJSON_CreateObject());
    cJSON* checks = cJSON_AddArrayToObject(object.get(), "checks");
    for (const Finding& finding : findings) {
        Json check(cJSON_CreateObject());
        AddText(check, "name", finding.name);
        AddText(check, "state", StateOf(finding.severity).name);
        AddText(check, "text", finding.text);
        AddText(check, "advice", finding.advice);
        cJSON_AddItemToArray(checks, check.release());
    }
    std::cout << ToText(object);
}

ExitCode Diagnose(const DoctorOptions& options) {
    const Findings findings = RunChecks(options.statusFile);
    options.json ? PrintJson(findings) : PrintLines(findings);
    ExitCode result = ExitCode::DONE;
    for (const Finding& finding : findings) {
        result = std::max(result, StateOf(finding.severity).code);
    }
    return result;
}

}  // namespace

void AddDoctorCommand(CLI::App& app, ExitCode& result) {
    const auto options = std::make_shared<DoctorOptions>();
    CLI::App* command = AddCommand(app, result, options, "doctor",
                                   "Check the log, overlay, commands and bus that an engine and qfctl need", Diagnose);
    command->add_flag("--json", options->json, "Print a JSON object");
    command->add_option("--status-file", options->statusFile, "Also check this status file")
        ->type_name("FILE")
        ->check(CheckFileName);
}

}  // namespace qfctl
