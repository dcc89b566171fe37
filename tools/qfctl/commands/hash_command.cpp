#include <algorithm>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "commands/command.h"
#include "commands/commands.h"
#include "failure.h"
#include "system/file_digest.h"
#include "text/escape.h"
#include "text/json_text.h"

namespace qfctl {
namespace {

struct HashOptions {
    bool json = false;
    std::vector<std::string> files;
};

/// Formats a line like sha256sum. A leading backslash marks an escaped name.
std::string ChecksumLine(const std::string& digest, const std::string& file) {
    std::string name;
    for (const char character : file) {
        const char* escape = character == '\\'   ? "\\\\"
                             : character == '\n' ? "\\n"
                             : character == '\r' ? "\\r"
                                                 : nullptr;
        name += escape != nullptr ? escape : std::string(1, character);
    }
    const std::string shown = name == "-" ? "./-" : name;  // sha256sum -c reads "-" as standard input
    return (name == file ? "" : "\\") + digest + "  " + shown + "\n";
}

void HashFile(const std::string& file, bool json, const Json& list) {
    const std::string digest = WithContext(Quote(file) + ": ", [&file] { return ComputeDigest(file); });
    if (!json) {
        std::cout << ChecksumLine(digest, file);
        return;
    }
    Json entry(cJSON_CreateObject());
    AddText(entry, "file", file);
    AddText(entry, "sha256", digest);
    cJSON_AddItemToArray(list.get(), entry.release());
}

ExitCode Hash(const HashOptions& options) {
    ExitCode result = ExitCode::DONE;
    const Json list(cJSON_CreateArray());
    for (const std::string& operand : options.files) {
        const std::string file = operand.substr(1);  // without OPERAND_PREFIX
        result = std::max(result, Attempt([&] { HashFile(file, options.json, list); }));
    }
    if (options.json) {
        std::cout << ToText(list);
    }
    return result;
}

}  // namespace

void AddHashCommand(CLI::App& app, ExitCode& result) {
    const auto options = std::make_shared<HashOptions>();
    CLI::App* command =
        AddCommand(app, result, options, "hash", "Print SHA-256 digests in the format of sha256sum", Hash);
    command->add_option("FILE", options->files, "The files")->required();
    command->add_flag("--json", options->json, "Print an array of objects with file and sha256");
}

}  // namespace qfctl
