#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "commands.h"
#include "escape.h"
#include "file_utils.h"
#include "json_text.h"

namespace {

using TEKLO::QuickFixEngine::FileUtils;

struct HashOptions {
    bool json = false;
    std::vector<std::string> files;
};

/// Why there is no digest of the file, and what that makes of the exit code; DONE when there is one.
ExitCode CheckReadable(const std::string& file) {
    struct stat status = {};
    if (stat(file.c_str(), &status) != 0) {
        const bool absent = errno == ENOENT || errno == ENOTDIR;
        return Fail(absent ? ExitCode::FAILED : ExitCode::NOT_CHECKED, Quote(file) + ": " + strerror(errno));
    }
    if (!S_ISREG(status.st_mode)) {
        return Fail(ExitCode::NOT_CHECKED, Quote(file) + ": not a regular file");
    }
    if (access(file.c_str(), R_OK) != 0) {
        return Fail(ExitCode::NOT_CHECKED, Quote(file) + ": " + strerror(errno));
    }
    return ExitCode::DONE;
}

bool ReadsToItsEnd(const std::string& file) {
    const int descriptor = open(file.c_str(), O_RDONLY | O_CLOEXEC);
    std::vector<char> block(1U << 20);
    ssize_t count = 1;
    while (count > 0) {
        count = TEMP_FAILURE_RETRY(read(descriptor, block.data(), block.size()));
    }
    close(descriptor);
    return count == 0;
}

/// The library's digest takes a read error for the end of the file; one that lasts shows in a read of its own, one that
/// passes in another digest. Empty when there is one.
std::string DigestOfAll(const std::string& file) {
    const std::string digest = FileUtils::GetFileSHA256(file);
    return ReadsToItsEnd(file) && FileUtils::GetFileSHA256(file) == digest ? digest : "";
}

/// As sha256sum prints it: a name that would break the line is escaped, and a backslash in front of it says so.
std::string ChecksumLine(const std::string& digest, const std::string& file) {
    std::string name;
    for (const char character : file) {
        const char* escape = character == '\\'   ? "\\\\"
                             : character == '\n' ? "\\n"
                             : character == '\r' ? "\\r"
                                                 : nullptr;
        name += escape != nullptr ? escape : std::string(1, character);
    }
    const std::string shown = name == "-" ? "./-" : name;  // alone it would mean standard input
    return (name == file ? "" : "\\") + digest + "  " + shown + "\n";
}

ExitCode Hash(const HashOptions& options) {
    ExitCode result = ExitCode::DONE;
    const Json list(cJSON_CreateArray());
    for (const std::string& file : options.files) {
        ExitCode outcome = CheckReadable(file);
        const std::string digest = outcome == ExitCode::DONE ? DigestOfAll(file) : "";
        if (outcome == ExitCode::DONE && digest.empty()) {
            outcome = Fail(ExitCode::NOT_CHECKED, Quote(file) + ": can't be read, or changes meanwhile");
        }
        result = std::max(result, outcome);
        if (outcome != ExitCode::DONE) {
            continue;
        }
        if (!options.json) {
            std::cout << ChecksumLine(digest, file);
            continue;
        }
        Json entry(cJSON_CreateObject());
        AddText(entry, "file", file);
        AddText(entry, "sha256", digest);
        cJSON_AddItemToArray(list.get(), entry.release());
    }
    if (options.json) {
        std::cout << ToText(list);
    }
    return result;
}

}  // namespace

void AddHashCommand(CLI::App& app, ExitCode& result) {
    CLI::App* command = app.add_subcommand("hash", "Print SHA-256 digests as sha256sum does; sha256sum -c checks them");
    const auto options = std::make_shared<HashOptions>();
    command->add_option("FILE", options->files, "The files")->required();
    command->add_flag("--json", options->json, "Print a list of objects with file and sha256");
    command->callback([options, &result] { result = Hash(*options); });
}
