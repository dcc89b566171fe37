#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <iostream>
#include <memory>
#include <string>

#include "commands/commands.h"
#include "platform/parameter.h"
#include "string_utils.h"
#include "sys_utils.h"
#include "text/escape.h"
#include "text/json_text.h"

namespace qfctl {
namespace {

using TEKLO::QuickFixEngine::STAGE_INIT;
using TEKLO::QuickFixEngine::StringUtils;
using TEKLO::QuickFixEngine::SysUtils;

constexpr char CMDLINE_FILE[] = "/proc/cmdline";

struct Answer {
    bool json = false;
    std::string key;
};

void Print(bool json, const char* name, const std::string& text) {
    if (!json) {
        std::cout << Printable(text) << "\n";
        return;
    }
    const Json object(cJSON_CreateObject());
    AddText(object, name, text);
    std::cout << ToText(object);
}

ExitCode ShowCmdline(const Answer& answer) {
    if (access(CMDLINE_FILE, R_OK) != 0) {
        return Fail(ExitCode::NOT_CHECKED, std::string(CMDLINE_FILE) + " can't be read: " + strerror(errno));
    }
    const std::string key = answer.key.substr(1);  // without OPERAND_PREFIX
    std::string token = StringUtils::GetKeyCmdlineStr(key);
    if (token.empty()) {
        return Fail(ExitCode::FAILED, "the kernel command line has no " + Quote(key));
    }
    Print(answer.json, "token", StringUtils::RTrim(token));
    return ExitCode::DONE;
}

ExitCode ShowStage(const Answer& answer) {
    Print(answer.json, "stage", SysUtils::GetRunningStage() == STAGE_INIT ? "init" : "sa");
    return ExitCode::DONE;
}

ExitCode ShowBaseVersion(const Answer& answer) {
    const std::string version = SysUtils::GetBaseVersion();
    char ignored[1] = {};
    if (version.empty() && GetParameter("ro.comp.kt.product_base_version.real", "", ignored, sizeof(ignored)) < 0) {
        return Fail(ExitCode::NOT_CHECKED, "the parameter store can't be read");
    }
    if (version.empty()) {
        return Fail(ExitCode::FAILED, "no base version is set");
    }
    Print(answer.json, "baseVersion", version);
    return ExitCode::DONE;
}

CLI::App* AddQuestion(CLI::App& app, ExitCode& result, const std::shared_ptr<Answer>& answer, const char* name,
                      const char* help, ExitCode (*show)(const Answer&)) {
    CLI::App* command = app.add_subcommand(name, help);
    command->add_flag("--json", answer->json, "Print a JSON object");
    command->callback([answer, show, &result] { result = show(*answer); });
    return command;
}

}  // namespace

void AddSystemCommands(CLI::App& app, ExitCode& result) {
    const auto answer = std::make_shared<Answer>();
    AddQuestion(app, result, answer, "cmdline", "Show the first token of the kernel command line that contains KEY",
                ShowCmdline)
        ->add_option("KEY", answer->key, "Any part of the token")
        ->required()
        ->check([](const std::string& key) { return key.size() < 2 ? "must not be empty" : ""; });
    AddQuestion(app, result, answer, "stage", "Show the running stage: init for user 0, sa for any other", ShowStage);
    AddQuestion(app, result, answer, "base-version", "Show the product's base version", ShowBaseVersion);
}

}  // namespace qfctl
