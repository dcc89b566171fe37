#include "verification/overlay_scan.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <utility>

#include "failure.h"
#include "text/escape.h"
#include "text/utf8.h"

namespace qfctl {

namespace fs = std::filesystem;

namespace {

constexpr char SAFE_ASCII[] = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz_-.+,:@%=";

void ThrowIfAny(std::vector<std::string> messages) {
    if (!messages.empty()) {
        throw Failure(ExitCode::NOT_CHECKED, std::move(messages));
    }
}

}  // namespace

OverlayScan ScanOverlay(const std::string& overlay) {
    OverlayScan scan;
    std::vector<std::string> errors;
    // Opens one folder at a time, so that a deep overlay doesn't exhaust the descriptors.
    std::vector<fs::path> pending = {overlay};
    while (!pending.empty()) {
        const fs::path folder = std::move(pending.back());
        pending.pop_back();
        std::error_code error;
        fs::directory_iterator entries(folder, error);
        for (; !error && entries != fs::directory_iterator(); entries.increment(error)) {
            const fs::path& path = entries->path();
            if (!IsSafeName(path.filename())) {
                scan.unsafeNames.push_back(path);
            }
            std::error_code unknown;
            const bool link = entries->is_symlink(unknown);
            if (!link && entries->is_directory(unknown)) {
                pending.push_back(path);
            } else if (!link && entries->is_regular_file(unknown)) {
                scan.files.push_back(path.string().substr(overlay.size()));
            } else if (unknown) {
                errors.push_back(Quote(path) + " can't be examined: " + unknown.message());
            }
        }
        if (error) {
            errors.push_back("the folder " + Quote(folder) + " can't be read: " + error.message());
        }
    }
    ThrowIfAny(std::move(errors));
    return scan;
}

void CheckForShell(const OverlayScan& scan, const std::string& overlay) {
    std::vector<std::string> messages;
    if (!scan.unsafeNames.empty()) {
        messages.emplace_back("a shell would interpret or split these names; rename them, or verify without --shell:");
        for (const std::string& name : scan.unsafeNames) {
            messages.back() += "\n  " + Quote(name);
        }
    }
    for (const std::string& file : scan.files) {
        for (const std::string& side : {overlay + file, file}) {
            try {
                CheckReadable(side);
            } catch (const Failure& failure) {
                messages.emplace_back(failure.what());
            }
        }
    }
    ThrowIfAny(std::move(messages));
}

void CheckReadable(const std::string& path) {
    struct stat status = {};
    const bool found = stat(path.c_str(), &status) == 0;
    if (!found && (errno == ENOENT || errno == ENOTDIR)) {
        return;
    }
    if (found && !S_ISREG(status.st_mode) && !S_ISDIR(status.st_mode)) {
        throw Failure(ExitCode::NOT_CHECKED, Quote(path) + " is a pipe, a device or a socket");
    }
    if (!found || access(path.c_str(), R_OK) != 0) {
        throw Failure(ExitCode::NOT_CHECKED, Quote(path) + " can't be read: " + strerror(errno));
    }
}

bool IsSafeName(const std::string& name) {
    const auto isUnsafe = [](char character) {
        const bool ascii = static_cast<unsigned char>(character) < 0x80;
        return ascii && strchr(SAFE_ASCII, character) == nullptr;
    };
    return IsPlainText(name) && std::none_of(name.begin(), name.end(), isUnsafe);
}

}  // namespace qfctl
