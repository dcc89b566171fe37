#include "verification/overlay_scan.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <utility>

#include "text/escape.h"
#include "text/utf8.h"

namespace qfctl {

namespace fs = std::filesystem;

namespace {

constexpr char SAFE_ASCII[] = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz_-.+,:@%=";

void ScanFile(const std::string& path, const std::string& overlay, OverlayScan& scan) {
    scan.files.push_back(path.substr(overlay.size()));
    for (const std::string& side : {path, scan.files.back()}) {
        std::string error = CheckReadable(side);
        if (!error.empty()) {
            scan.errors.push_back(std::move(error));
        }
    }
}

}  // namespace

std::string CheckReadable(const std::string& path) {
    struct stat status = {};
    const bool found = stat(path.c_str(), &status) == 0;
    if (!found && (errno == ENOENT || errno == ENOTDIR)) {
        return "";
    }
    if (found && !S_ISREG(status.st_mode) && !S_ISDIR(status.st_mode)) {
        return Quote(path) + " is a pipe, a device or a socket";
    }
    if (!found || access(path.c_str(), R_OK) != 0) {
        return Quote(path) + " can't be read: " + strerror(errno);
    }
    return "";
}

bool IsSafeName(const std::string& name) {
    const auto isUnsafe = [](char character) {
        const bool ascii = static_cast<unsigned char>(character) < 0x80;
        return ascii && strchr(SAFE_ASCII, character) == nullptr;
    };
    return IsPlainText(name) && std::none_of(name.begin(), name.end(), isUnsafe);
}

OverlayScan ScanOverlay(const std::string& overlay) {
    OverlayScan scan;
    // One folder open at a time, so that a deep overlay doesn't run out of descriptors.
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
                ScanFile(path, overlay, scan);
            } else if (unknown) {
                scan.errors.push_back(Quote(path) + " can't be examined: " + unknown.message());
            }
        }
        if (error) {
            scan.errors.push_back("the folder " + Quote(folder) + " can't be read: " + error.message());
        }
    }
    return scan;
}

}  // namespace qfctl
