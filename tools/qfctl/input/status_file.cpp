#include "input/status_file.h"

#include <sys/file.h>
#include <sys/stat.h>

#include <array>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <fstream>
#include <sstream>
#include <utility>

#include "failure.h"
#include "system/folder_lock.h"
#include "text/escape.h"

namespace qfctl {
namespace {

using TEKLO::QuickFixEngine::QUICK_FIX_ERROR_CODE_KEY;
using TEKLO::QuickFixEngine::QUICK_FIX_STATUS_MAX_LINE;
using TEKLO::QuickFixEngine::QUICK_FIX_VERSION_KEY;
using TEKLO::QuickFixEngine::QuickFixStatus;

constexpr size_t LINES = 3;

void CheckLine(const std::string& name, const std::string& line) {
    if (line.size() > QUICK_FIX_STATUS_MAX_LINE) {
        throw Failure(ExitCode::NOT_CHECKED, name + " is longer than " + std::to_string(QUICK_FIX_STATUS_MAX_LINE) +
                                                 " bytes and would be truncated");
    }
    if (line.find('=') == std::string::npos) {
        throw Failure(ExitCode::NOT_CHECKED, name + " has no '='");
    }
}

void ReadLines(std::istream& file, StatusFile& found) {
    const std::array<std::string*, LINES> values = {&found.values.version, &found.values.status,
                                                    &found.values.errorCode};
    std::string line;
    for (size_t number = 1; number <= LINES && std::getline(file, line); ++number) {
        const std::string name = "line " + std::to_string(number);
        CheckLine(name, line);
        const size_t equals = line.find('=');
        const std::string key = line.substr(0, equals);
        *values.at(number - 1) = line.substr(equals + 1);
        if (number == 2) {
            found.key = key;
        } else if (key != (number == 1 ? QUICK_FIX_VERSION_KEY : QUICK_FIX_ERROR_CODE_KEY)) {
            found.formatMismatch = name + " begins with " + Quote(key);
        }
    }
    if (found.formatMismatch.empty() && std::getline(file, line)) {
        found.formatMismatch = "it has more than three lines";
    }
    if (file.bad()) {
        throw Failure(ExitCode::NOT_CHECKED, "read error");
    }
}

void CheckFits(const std::string& name, const std::string& key, const std::string& value) {
    if (value.find('\n') != std::string::npos) {
        throw Failure(ExitCode::USAGE, name + " must not hold a line feed");
    }
    const size_t length = key.size() + 1 + value.size();
    if (length > QUICK_FIX_STATUS_MAX_LINE) {
        throw Failure(ExitCode::USAGE, name + " makes a line of " + std::to_string(length) + " bytes; the limit is " +
                                           std::to_string(QUICK_FIX_STATUS_MAX_LINE));
    }
}

}  // namespace

std::optional<StatusFile> InspectStatusFile(const std::string& path) {
    struct stat status = {};
    if (stat(path.c_str(), &status) != 0) {
        if (errno == ENOENT || errno == ENOTDIR) {
            return std::nullopt;
        }
        throw Failure(ExitCode::NOT_CHECKED, strerror(errno));
    }
    if (!S_ISREG(status.st_mode)) {
        throw Failure(ExitCode::NOT_CHECKED, "not a regular file");
    }
    std::ifstream file(path);
    if (!file.is_open()) {
        throw Failure(ExitCode::NOT_CHECKED, strerror(errno));
    }
    StatusFile found;
    found.mode = status.st_mode & 07777U;
    ReadLines(file, found);
    return found;
}

StatusFile ReadStatusFile(const std::string& path) {
    // If the user can't read the directory, FolderLock locks nothing, and the file is read without a lock.
    const FolderLock lock(path, LOCK_SH);
    auto found =
        WithContext("the status file " + Quote(path) + " can't be read: ", [&path] { return InspectStatusFile(path); });
    if (!found) {
        throw Failure(ExitCode::FAILED, "there is no status file " + Quote(path));
    }
    return *std::move(found);
}

void CheckStatusFits(const QuickFixStatus& status, const std::string& key) {
    if (key.find_first_of("=\n") != std::string::npos) {
        throw Failure(ExitCode::USAGE, "the key must not hold '=' or a line feed");
    }
    CheckFits("the version", QUICK_FIX_VERSION_KEY, status.version);
    CheckFits("the status", key, status.status);
    CheckFits("the list of error codes", QUICK_FIX_ERROR_CODE_KEY, status.errorCode);
}

std::optional<int32_t> ParseErrorCode(const std::string& text) {
    int32_t code = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), code, 10);
    return error == std::errc() && end == text.data() + text.size() ? std::optional<int32_t>(code) : std::nullopt;
}

std::vector<int32_t> ParseErrorCodes(const std::string& text) {
    std::vector<int32_t> codes;
    std::istringstream pieces(text);
    for (std::string piece; std::getline(pieces, piece, ',');) {
        const auto code = ParseErrorCode(piece);
        if (!code) {
            throw Failure(ExitCode::NOT_CHECKED, "the error codes are not a list of 32-bit integers: " + Quote(text));
        }
        codes.push_back(*code);
    }
    return codes;
}

}  // namespace qfctl
