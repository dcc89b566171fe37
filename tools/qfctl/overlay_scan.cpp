#include "overlay_scan.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <utility>

#include "escape.h"

namespace fs = std::filesystem;

namespace {

constexpr char SAFE_ASCII[] = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz_-.+,:@%=";

/// The length of the UTF-8 sequence at `at`, 0 when there is no valid one.
size_t Utf8Length(const std::string& text, size_t at) {
    struct Row {
        unsigned char mask;
        unsigned char lead;
        size_t length;
        char32_t smallest;
    };
    constexpr Row rows[] = {{0xe0, 0xc0, 2, 0x80}, {0xf0, 0xe0, 3, 0x800}, {0xf8, 0xf0, 4, 0x10000}};
    const auto byte = [&text](size_t i) { return static_cast<unsigned char>(text[i]); };
    for (const Row& row : rows) {
        if ((byte(at) & row.mask) != row.lead || text.size() - at < row.length) {
            continue;
        }
        char32_t code = byte(at) & static_cast<unsigned char>(~row.mask);
        for (size_t i = at + 1; i < at + row.length; ++i) {
            if ((byte(i) & 0xc0) != 0x80) {
                return 0;
            }
            code = (code << 6) | (byte(i) & 0x3fU);
        }
        const bool surrogate = code >= 0xd800 && code <= 0xdfff;
        const bool control = code < 0xa0;
        return code < row.smallest || code > 0x10ffff || surrogate || control ? 0 : row.length;
    }
    return 0;
}

/// Reading one of these may never end.
bool IsEndless(const fs::file_status& status) {
    return fs::is_fifo(status) || fs::is_character_file(status);
}

/// Why the checks of one file would not tell the truth about it; empty when they would.
std::string WhyNotComparable(const std::string& path) {
    std::error_code error;
    const fs::file_status status = fs::status(path, error);
    if (status.type() == fs::file_type::not_found) {
        return "";
    }
    if (IsEndless(status)) {
        return Quote(path) + " is a pipe or a device, reading it may never end";
    }
    if (error || access(path.c_str(), R_OK) != 0) {
        return Quote(path) + " can't be read: " + (error ? error.message() : strerror(errno));
    }
    return "";
}

void ScanFile(const std::string& path, const std::string& overlay, OverlayScan& scan) {
    ++scan.files;
    for (const std::string& side : {path, path.substr(overlay.size())}) {
        std::string obstacle = WhyNotComparable(side);
        if (!obstacle.empty()) {
            scan.obstacles.push_back(std::move(obstacle));
        }
    }
}

}  // namespace

bool IsSafeName(const std::string& name) {
    size_t at = 0;
    while (true) {
        at = name.find_first_not_of(SAFE_ASCII, at);
        if (at == std::string::npos) {
            return true;
        }
        const size_t length = Utf8Length(name, at);
        if (length == 0) {
            return false;
        }
        at += length;
    }
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
            const fs::file_status status = entries->symlink_status(unknown);
            if (fs::is_directory(status)) {
                pending.push_back(path);
            } else if (fs::is_regular_file(status)) {
                ScanFile(path, overlay, scan);
            } else if (unknown) {
                scan.obstacles.push_back(Quote(path) + " can't be examined: " + unknown.message());
            }
        }
        if (error) {
            scan.obstacles.push_back("the folder " + Quote(folder) + " can't be read: " + error.message());
        }
    }
    return scan;
}
