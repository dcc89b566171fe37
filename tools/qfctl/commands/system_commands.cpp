#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <iostream>
#include <memory>
#include <string>

#include "commands/command.h"
#include "commands/commands.h"
#include "failure.h"
#include "platform/parameter.h"
#include "string_utils.h"
#include "sys_utils.h"
#include "text/escape.h"
#include "text/json_text.h"

namespace qfctl {
namespace {

using TEKLO::QuickFixEngine::BASE_VERSION_FALLBACK_PARAMETER;
using TEKLO::QuickFixEngine::STAGE_INIT;
using TEKLO::QuickFixEngine::StringUtils;
using TEKLO::QuickFixEngine::SysUtils;

constexpr char CMDLINE_FILE[] = "/proc/cmdline";

struct SystemOptions {
    bool json = false;
    std::string key;
};

void Print(bool json, const char* name, const std::string& text) {
    if (!json) {
        std::cout << QuoteIfUnprintable(text) << "\n";
        return;
    }
    const Json object(cJSON_CreateObject());
    AddText(object, name, text);
    std::cout << ToText(object);
}

ExitCode ShowCmdline(const SystemOptions& options) {
    if (access(CMDLINE_FILE, R_OK) != 0) {
        throw Failure(ExitCode::NOT_CHECKED, std::string(CMDLINE_FILE) + " can't be read: " + strerror(errno));
    }
    const std::string key = options.key.substr(1);  // without OPERAND_PREFIX
    std::string token = StringUtils::GetKeyCmdlineStr(key);
    if (token.empty()) {
        throw Failure(ExitCode::FAILED, "the kernel command line has no " + Quote(key));
    }
    Print(options.json, "token", StringUtils::RTrim(token));
    return ExitCode::DONE;
}

ExitCode ShowStage(const SystemOptions& options) {
    Print(options.json, "stage", SysUtils::GetRunningStage() == STAGE_INIT ? "init" : "sa");
    return ExitCode::DONE;
}

ExitCode ShowBaseVersion(const SystemOptions& options) {
    const std::string version = SysUtils::GetBaseVersion();
    char ignored[1] = {};
    if (version.empty() && GetParameter(BASE_VERSION_FALLBACK_PARAMETER, "", ignored, sizeof(ignored)) < 0) {
        throw Failure(ExitCode::NOT_CHECKED, "the parameter store can't be read");
    }
    if (version.empty()) {
        throw Failure(ExitCode::FAILED, "no base version is set");
    }
    Print(options.json, "baseVersion", version);
    return ExitCode::DONE;
}

CLI::App* AddQueryCommand(CLI::App& app, ExitCode& result, const std::shared_ptr<SystemOptions>& options,
                          const char* name, const char* help, ExitCode (*show)(const SystemOptions&)) {
    CLI::App* command = AddCommand(app, result, options, name, help, show);
    command->add_flag("--json", options->json, "Print a JSON object");
    return command;
}

}  // namespace

void AddSystemCommands(CLI::App& app, ExitCode& result) {
    const auto options = std::make_shared<SystemOptions>();
    AddQueryCommand(app, result, options, "cmdline",
                    "Show the first token of the kernel command line that contains KEY", ShowCmdline)
        ->add_option("KEY", options->key, "Any part of the token")
        ->required()
        ->check([](const std::string& key) { return key.size() < 2 ? "must not be empty" : ""; });
    AddQueryCommand(app, result, options, "stage", "Show the running stage: init for user 0, sa for any other user",
                    ShowStage);
    AddQueryCommand(app, result, options, "base-version", "Show the product's base version", ShowBaseVersion);
}

}  // namespace qfctl
