#include <sys/file.h>
#include <sys/stat.h>

#include <cerrno>
#include <iostream>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "commands/command.h"
#include "commands/commands.h"
#include "error_code_wrapper.h"
#include "failure.h"
#include "file_utils.h"
#include "input/status_file.h"
#include "quick_fix_status_record.h"
#include "system/atomic_file.h"
#include "system/folder_lock.h"
#include "text/escape.h"
#include "text/json_text.h"

namespace qfctl {
namespace {

using TEKLO::QuickFixEngine::ErrorCode;
using TEKLO::QuickFixEngine::ErrorCodeWrapper;
using TEKLO::QuickFixEngine::FileUtils;
using TEKLO::QuickFixEngine::QuickFixStatus;
using TEKLO::QuickFixEngine::QuickFixStatusRecord;

struct StatusOptions {
    std::string file;
    std::optional<std::string> key;
    std::optional<std::string> mode;
    std::optional<std::string> version;
    std::optional<std::string> status;
    std::vector<std::string> errorCodes;
    bool json = false;
};

bool IsSame(const QuickFixStatus& one, const QuickFixStatus& other) {
    return one.version == other.version && one.status == other.status && one.errorCode == other.errorCode;
}

ExitCode Show(const StatusOptions& options) {
    const QuickFixStatus status = ReadStatusFile(options.file).values;
    if (!options.json) {
        std::cout << "version      " << QuoteIfUnprintable(status.version) << "\n"
                  << "status       " << QuoteIfUnprintable(status.status) << "\n"
                  << "error codes  " << QuoteIfUnprintable(status.errorCode) << "\n";
    }
    const std::vector<int32_t> codes = ParseErrorCodes(status.errorCode);
    if (options.json) {
        const Json object(cJSON_CreateObject());
        AddText(object, "version", status.version);
        AddText(object, "status", status.status);
        cJSON* list = cJSON_AddArrayToObject(object.get(), "errorCodes");
        for (const int32_t code : codes) {
            cJSON_AddItemToArray(list, cJSON_CreateNumber(code));
        }
        std::cout << ToText(object);
    }
    return ExitCode::DONE;
}

std::optional<unsigned int> ParseMode(const std::string& text) {
    const bool octal = !text.empty() && text.size() <= 5 && text.find_first_not_of("01234567") == std::string::npos;
    const unsigned long mode = octal ? std::stoul(text, nullptr, 8) : 010000;
    return mode <= 07777 ? std::optional<unsigned int>(mode) : std::nullopt;
}

/// Finds out why the library could not write the file, because the library does not report the reason.
std::string DescribeWriteError(const std::string& path) {
    try {
        const FileTarget target(path);
    } catch (const Failure& failure) {
        return failure.what();
    }
    return "it can't be written, or the disk is full";
}

StatusFile ReadForChange(const std::string& path) {
    return WithContext("the file " + Quote(path) + " was not changed: ", [&path] {
        StatusFile found = InspectStatusFile(path).value_or(StatusFile());
        if (!found.formatMismatch.empty()) {
            throw Failure(ExitCode::NOT_CHECKED, found.formatMismatch);
        }
        return found;
    });
}

std::string JoinErrorCodes(const std::vector<std::string>& texts) {
    ErrorCodeWrapper codes;
    for (const std::string& text : texts) {
        const auto code = ParseErrorCode(text);
        if (!code) {
            throw Failure(ExitCode::USAGE, "the error code is not a 32-bit integer: " + Quote(text));
        }
        codes.AddErrorCode(static_cast<ErrorCode>(*code));
    }
    return codes.GetErrorCode();
}

ExitCode Set(const StatusOptions& options) {
    if (!options.version && !options.status && options.errorCodes.empty()) {
        throw Failure(ExitCode::USAGE, "nothing to set; give --version, --status or --error-code");
    }
    if (!FileUtils::IsValidPath(options.file)) {
        throw Failure(ExitCode::USAGE, "the path of the file must not hold \"..\"");
    }
    const FolderLock lock(options.file, LOCK_EX);
    const StatusFile found = ReadForChange(options.file);
    QuickFixStatus status = found.values;
    status.version = options.version.value_or(status.version);
    status.status = options.status.value_or(status.status);
    status.errorCode = options.errorCodes.empty() ? status.errorCode : JoinErrorCodes(options.errorCodes);
    const std::string key = options.key.value_or(found.key);
    CheckStatusFits(status, key);
    QuickFixStatusRecord& record = QuickFixStatusRecord::GetInstance();
    record.InitStatusRecord(options.file, options.mode ? *ParseMode(*options.mode) : found.mode, key);
    record.SetStatus(status.version, status.status, status.errorCode);
    if (!IsSame(record.GetStatusFromFile(), status)) {
        throw Failure(ExitCode::FAILED, "the status file " + Quote(options.file) +
                                            " was not written: " + DescribeWriteError(options.file));
    }
    return ExitCode::DONE;
}

ExitCode Clear(const StatusOptions& options) {
    const FolderLock lock(options.file, LOCK_EX);
    struct stat status = {};
    if (stat(options.file.c_str(), &status) == 0 && !S_ISREG(status.st_mode)) {
        throw Failure(ExitCode::NOT_CHECKED,
                      "the file " + Quote(options.file) + " was not deleted: it is not a regular file");
    }
    QuickFixStatusRecord& record = QuickFixStatusRecord::GetInstance();
    record.SetStatusFilePath(options.file);
    record.ClearStatusRecord();
    if (lstat(options.file.c_str(), &status) == 0 || (errno != ENOENT && errno != ENOTDIR)) {
        throw Failure(ExitCode::FAILED, "the status file " + Quote(options.file) + " can't be removed");
    }
    return ExitCode::DONE;
}

CLI::App* AddAction(CLI::App* command, ExitCode& result, const std::shared_ptr<StatusOptions>& options,
                    const char* name, const char* help, ExitCode (*run)(const StatusOptions&)) {
    CLI::App* action = AddCommand(*command, result, options, name, help, run);
    action->add_option("--file", options->file, "The status file")->required()->type_name("FILE")->check(CheckFileName);
    action->add_option("--key", options->key, "Key of the status line; default: the key in the file, or \"Status\"");
    action->add_option("--mode", options->mode, "Mode of the file in octal; default: its current mode, or 0600")
        ->check(
            [](const std::string& mode) { return ParseMode(mode) ? "" : "not an octal number up to 7777: " + mode; });
    return action;
}

}  // namespace

void AddStatusCommand(CLI::App& app, ExitCode& result) {
    CLI::App* command = app.add_subcommand("status", "Show or change the status file of a patch operation");
    command->require_subcommand(1);
    const auto options = std::make_shared<StatusOptions>();
    AddAction(command, result, options, "show", "Show version, status and error codes", Show)
        ->add_flag("--json", options->json, "Print a JSON object");
    CLI::App* set = AddAction(command, result, options, "set", "Change the given values, keep the others", Set);
    set->add_option("--version", options->version, "Version of the patch");
    set->add_option("--status", options->status, "Status of the operation, such as init, loaded, success or failed");
    set->add_option("--error-code", options->errorCodes,
                    "Error code; repeat the option for several, which replace the list")
        ->allow_extra_args(false)
        ->type_name("NUMBER");
    AddAction(command, result, options, "clear", "Delete the status file", Clear);
}

}  // namespace qfctl
