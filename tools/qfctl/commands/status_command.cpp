#include <sys/file.h>
#include <sys/stat.h>

#include <array>
#include <cerrno>
#include <charconv>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <iostream>
#include <memory>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "commands/commands.h"
#include "error_code_wrapper.h"
#include "file_utils.h"
#include "quick_fix_status_record.h"
#include "system/atomic_file.h"
#include "system/folder_lock.h"
#include "text/escape.h"
#include "text/json_text.h"

namespace qfctl {
namespace {

using namespace TEKLO::QuickFixEngine;

constexpr char DEFAULT_KEY[] = "Status";
constexpr unsigned int DEFAULT_MODE = 0600;
constexpr size_t MAX_LINE_LENGTH = 255;
constexpr size_t LINES = 3;

struct StatusOptions {
    std::string file;
    std::optional<std::string> key;
    std::optional<std::string> mode;
    std::optional<std::string> version;
    std::optional<std::string> status;
    std::vector<std::string> errorCodes;
    bool json = false;
};

/// What qfctl has to know of the file before it lets the library read or change it.
struct StatusFile {
    bool exists = false;
    bool regular = false;
    std::string stranger;  // what tells that it was not written as a status file
    std::string defect;    // why its values can't be had whole
    std::string key = DEFAULT_KEY;
    unsigned int mode = DEFAULT_MODE;
    QuickFixStatus values;
};

bool operator==(const QuickFixStatus& one, const QuickFixStatus& other) {
    return one.version == other.version && one.status == other.status && one.errorCode == other.errorCode;
}

/// Takes the lines apart, until one tells that the file is no status file or can't be had whole.
void ReadValues(std::istream& file, StatusFile& found) {
    std::string line;
    const std::array<std::string*, LINES> values = {&found.values.version, &found.values.status,
                                                    &found.values.errorCode};
    for (size_t number = 1; number <= LINES && std::getline(file, line); ++number) {
        const std::string name = "line " + std::to_string(number);
        const size_t equals = line.find('=');
        if (line.size() > MAX_LINE_LENGTH) {
            found.defect = name + " has more than 255 bytes and would be cut";
        } else if (equals == std::string::npos) {
            found.defect = name + " has no '='";
        }
        if (!found.defect.empty()) {
            return;
        }
        const std::string key = line.substr(0, equals);
        *values.at(number - 1) = line.substr(equals + 1);
        if (number == 2) {
            found.key = key;
        } else if (key != (number == 1 ? "PatchVersion" : "ErrorCode")) {
            found.stranger = name + " begins with " + Quote(key);
        }
    }
    if (found.stranger.empty() && std::getline(file, line)) {
        found.stranger = "it has more than three lines";
    }
    found.defect = file.bad() ? "read error" : "";
}

StatusFile Examine(const std::string& path) {
    StatusFile found;
    struct stat status = {};
    if (stat(path.c_str(), &status) != 0) {
        found.defect = errno == ENOENT || errno == ENOTDIR ? "" : strerror(errno);
        return found;
    }
    found.exists = true;
    found.mode = status.st_mode & 07777U;
    found.regular = S_ISREG(status.st_mode);
    std::ifstream file;
    if (found.regular) {
        file.open(path);
    }
    if (!file.is_open()) {
        found.defect = found.regular ? strerror(errno) : "not a regular file";
        return found;
    }
    ReadValues(file, found);
    return found;
}

/// Has the library's record point at the file and read it. The library takes a file that it can't read for an empty one,
/// and would write the rest of a change so: throws std::runtime_error.
QuickFixStatusRecord& OpenRecord(const StatusOptions& options, const StatusFile& found, unsigned int mode) {
    QuickFixStatusRecord& record = QuickFixStatusRecord::GetInstance();
    record.InitStatusRecord(options.file, mode, options.key.value_or(found.key));
    if (!(record.GetStatus() == found.values)) {
        throw std::runtime_error("the status file " + Quote(options.file) + " can't be read, or changes meanwhile");
    }
    return record;
}

std::optional<int32_t> ParseCode(const std::string& text) {
    int32_t code = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), code, 10);
    return error == std::errc() && end == text.data() + text.size() ? std::optional<int32_t>(code) : std::nullopt;
}

/// The codes of a text form, decimal numbers of 32 bits with a comma behind each, as a JSON list; null when it is none.
Json ListOfCodes(const std::string& text) {
    Json list(cJSON_CreateArray());
    std::istringstream pieces(text);
    for (std::string piece; std::getline(pieces, piece, ',');) {
        const auto code = ParseCode(piece);
        if (!code) {
            return nullptr;
        }
        cJSON_AddItemToArray(list.get(), cJSON_CreateNumber(*code));
    }
    return list;
}

ExitCode FailToLock(const StatusOptions& options, const FolderLock& lock) {
    return Fail(ExitCode::NOT_CHECKED, "the folder of " + Quote(options.file) + " can't be locked: " + lock.GetError());
}

ExitCode Show(const StatusOptions& options) {
    // A file that others may not change meanwhile can be shown without.
    const FolderLock lock(options.file, LOCK_SH);
    if (!lock.GetError().empty() && !lock.IsDenied()) {
        return FailToLock(options, lock);
    }
    const StatusFile found = Examine(options.file);
    if (!found.defect.empty()) {
        return Fail(ExitCode::NOT_CHECKED,
                    "the status file " + Quote(options.file) + " can't be read: " + found.defect);
    }
    if (!found.exists) {
        return Fail(ExitCode::FAILED, "there is no status file " + Quote(options.file));
    }
    QuickFixStatus status = OpenRecord(options, found, found.mode).GetStatus();
    Json codes = ListOfCodes(status.errorCode);
    const bool codesParse = codes != nullptr;
    if (!options.json) {
        std::cout << "version      " << Printable(status.version) << "\n"
                  << "status       " << Printable(status.status) << "\n"
                  << "error codes  " << Printable(status.errorCode) << "\n";
    } else if (codesParse) {
        const Json object(cJSON_CreateObject());
        AddText(object, "version", status.version);
        AddText(object, "status", status.status);
        cJSON_AddItemToObject(object.get(), "errorCodes", codes.release());
        std::cout << ToText(object);
    }
    return codesParse
               ? ExitCode::DONE
               : Fail(ExitCode::NOT_CHECKED, "the error codes are no list of numbers: " + Quote(status.errorCode));
}

/// Why the file could not carry the line; empty when it could.
std::string WhyNotCarried(const std::string& name, const std::string& key, const std::string& value) {
    if (value.find('\n') != std::string::npos) {
        return name + " holds a line feed, which the file can't carry";
    }
    const size_t length = key.size() + 1 + value.size();
    return length <= MAX_LINE_LENGTH
               ? ""
               : name + " makes a line of " + std::to_string(length) + " bytes, the file carries 255";
}

std::string WhyNotCarried(const QuickFixStatus& status, const std::string& key) {
    if (key.find_first_of("=\n") != std::string::npos) {
        return "the key holds '=' or a line feed";
    }
    for (const std::string& why :
         {WhyNotCarried("the version", "PatchVersion", status.version), WhyNotCarried("the status", key, status.status),
          WhyNotCarried("the list of error codes", "ErrorCode", status.errorCode)}) {
        if (!why.empty()) {
            return why;
        }
    }
    return "";
}

std::optional<unsigned int> ParseMode(const std::string& text) {
    const bool octal = !text.empty() && text.size() <= 5 && text.find_first_not_of("01234567") == std::string::npos;
    const unsigned long mode = octal ? std::stoul(text, nullptr, 8) : 010000;
    return mode <= 07777 ? std::optional<unsigned int>(mode) : std::nullopt;
}

/// The library doesn't tell; the folder or the disk is what is left.
std::string WhyNotWritten(const std::string& path) {
    const std::string error = FileTarget(path).GetError();
    return error.empty() ? "the file can't be written, or the disk is full" : error;
}

ExitCode Set(const StatusOptions& options) {
    if (!options.version && !options.status && options.errorCodes.empty()) {
        return Fail(ExitCode::USAGE, "nothing to set; give --version, --status or --error-code");
    }
    if (!FileUtils::IsValidPath(options.file)) {
        return Fail(ExitCode::USAGE, "the file's path must not hold \"..\"");
    }
    const FolderLock lock(options.file, LOCK_EX);
    if (!lock.GetError().empty()) {
        return FailToLock(options, lock);
    }
    const StatusFile found = Examine(options.file);
    const std::string& reason = found.defect.empty() ? found.stranger : found.defect;
    if (!reason.empty()) {
        return Fail(ExitCode::NOT_CHECKED, "the file " + Quote(options.file) + " is left alone: " + reason);
    }
    QuickFixStatusRecord& record = OpenRecord(options, found, options.mode ? *ParseMode(*options.mode) : found.mode);
    QuickFixStatus status = record.GetStatus();
    status.version = options.version.value_or(status.version);
    status.status = options.status.value_or(status.status);
    ErrorCodeWrapper codes;
    for (const std::string& text : options.errorCodes) {
        const auto code = ParseCode(text);
        if (!code) {
            return Fail(ExitCode::USAGE, "the error code is no number of 32 bits: " + Quote(text));
        }
        codes.AddErrorCode(static_cast<ErrorCode>(*code));
    }
    status.errorCode = options.errorCodes.empty() ? status.errorCode : codes.GetErrorCode();
    const std::string why = WhyNotCarried(status, options.key.value_or(found.key));
    if (!why.empty()) {
        return Fail(ExitCode::USAGE, why);
    }
    record.SetStatus(status.version, status.status, status.errorCode);
    return record.GetStatusFromFile() == status
               ? ExitCode::DONE
               : Fail(ExitCode::FAILED,
                      "the status file " + Quote(options.file) + " was not written: " + WhyNotWritten(options.file));
}

ExitCode Clear(const StatusOptions& options) {
    const FolderLock lock(options.file, LOCK_EX);
    if (!lock.GetError().empty()) {
        return FailToLock(options, lock);
    }
    const StatusFile found = Examine(options.file);
    struct stat status = {};
    if (found.exists && !found.regular) {
        return Fail(ExitCode::NOT_CHECKED, "the file " + Quote(options.file) + " is left alone: not a regular file");
    }
    QuickFixStatusRecord& record = QuickFixStatusRecord::GetInstance();
    record.SetStatusFilePath(options.file);
    record.ClearStatusRecord();
    return lstat(options.file.c_str(), &status) != 0 && (errno == ENOENT || errno == ENOTDIR)
               ? ExitCode::DONE
               : Fail(ExitCode::FAILED, "the status file " + Quote(options.file) + " can't be removed");
}

CLI::App* AddAction(CLI::App* command, ExitCode& result, const std::shared_ptr<StatusOptions>& options,
                    const char* name, const char* help, ExitCode (*run)(const StatusOptions&)) {
    CLI::App* action = command->add_subcommand(name, help);
    action->add_option("--file", options->file, "The status file")
        ->required()
        ->type_name("FILE")
        ->check([](const std::string& file) { return file.empty() ? "the file's name is empty" : ""; });
    action->add_option("--key", options->key, "The key of its status line, by default the file's own or \"Status\"");
    action->add_option("--mode", options->mode, "Its permission in octal, by default the file's own or 0600")
        ->check([](const std::string& mode) { return ParseMode(mode) ? "" : "no octal number up to 7777: " + mode; });
    action->callback([options, run, &result] { result = run(*options); });
    return action;
}

}  // namespace

void AddStatusCommand(CLI::App& app, ExitCode& result) {
    CLI::App* command = app.add_subcommand("status", "Show or change the status file of a patch operation");
    command->require_subcommand(1);
    const auto options = std::make_shared<StatusOptions>();
    AddAction(command, result, options, "show", "Show version, status and error codes", Show)
        ->add_flag("--json", options->json, "Print a JSON object, the error codes as a list of numbers");
    CLI::App* set = AddAction(command, result, options, "set", "Change what is given, keep the rest", Set);
    set->add_option("--version", options->version, "The patch's version");
    set->add_option("--status", options->status, "Its state, such as init, loaded, success or failed");
    set->add_option("--error-code", options->errorCodes, "An error code; all that are given replace the list")
        ->allow_extra_args(false)
        ->type_name("NUMBER");
    AddAction(command, result, options, "clear", "Delete the status file", Clear);
}

}  // namespace qfctl
