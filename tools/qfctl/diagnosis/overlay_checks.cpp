#include <linux/limits.h>
#include <sys/stat.h>
#include <sys/xattr.h>

#include <cerrno>
#include <cstring>
#include <optional>
#include <string_view>
#include <system_error>

#include "diagnosis/checks.h"
#include "failure.h"
#include "test_manager.h"
#include "text/escape.h"
#include "verification/overlay_scan.h"

namespace qfctl {
namespace {

using TEKLO::QuickFixEngine::PATCH_OVERLAY_PATH;

constexpr size_t MAX_TEXT = 200;
constexpr std::string_view INDENT = "\n  ";  // before each name of a list

/// Returns the first message on one line, cut off after MAX_TEXT bytes, and the number of further messages. Messages
/// are ASCII, so the cut splits no character.
std::string Summarize(const std::vector<std::string>& messages) {
    std::string text = messages.front().substr(0, MAX_TEXT);
    for (size_t at = text.find(INDENT); at != std::string::npos; at = text.find(INDENT)) {
        text.replace(at, INDENT.size(), " ");
    }
    text += messages.front().size() > MAX_TEXT ? "..." : "";
    const size_t more = messages.size() - 1;
    return more == 0 ? text : text + ", and " + std::to_string(more) + " more";
}

/// Returns the label as `ls -Z` shows it, or nullopt if there is none. Throws std::system_error if it can't be read.
std::optional<std::string> ReadLabel(const char* path) {
    std::string label(XATTR_SIZE_MAX, '\0');
    const ssize_t size = lgetxattr(path, "security.selinux", label.data(), label.size());
    if (size > 0) {
        return label.substr(0, label.find('\0'));
    }
    if (size == 0 || errno == ENODATA || errno == ENOTSUP) {
        return std::nullopt;
    }
    throw std::system_error(errno, std::generic_category(), path);
}

}  // namespace

Findings CheckOverlay() {
    const std::string name = "overlay";
    const std::string path = PATCH_OVERLAY_PATH;
    struct stat status = {};
    if (stat(path.c_str(), &status) != 0) {
        const bool isMissing = errno == ENOENT;
        return {{name, isMissing ? Severity::WARNING : Severity::ERROR, path + " can't be used: " + strerror(errno),
                 isMissing ? "install a patch; without one there is nothing to verify" : "check the folders above it"}};
    }
    if (!S_ISDIR(status.st_mode)) {
        return {{name, Severity::ERROR, path + " is not a directory", "put a directory in its place"}};
    }
    try {
        const OverlayScan scan = ScanOverlay(path);
        if (scan.files.empty()) {
            return {{name, Severity::WARNING, path + " holds no regular file",
                     "install a patch; without one there is nothing to verify"}};
        }
        if (!scan.unsafeNames.empty()) {
            return {{name, Severity::WARNING,
                     "a shell would interpret names in " + path + ", the first is " + Quote(scan.unsafeNames.front()),
                     "rename them, or verify with Inspection::DIRECT, as qfctl does without --shell"}};
        }
        return {{name, Severity::OK, "regular files in " + path + ": " + std::to_string(scan.files.size()), ""}};
    } catch (const Failure& failure) {
        return {{name, Severity::ERROR, Summarize(failure.GetMessages()), "correct what qfctl verify lists"}};
    }
}

Findings CheckLabels() {
    const std::string name = "labels";
    struct stat status = {};
    const bool hasOverlay = stat(PATCH_OVERLAY_PATH, &status) == 0;
    const auto live = ReadLabel("/");
    const auto patch = hasOverlay ? ReadLabel(PATCH_OVERLAY_PATH) : live;
    if (live && patch) {
        const std::string overlay = hasOverlay ? ", of the overlay " + QuoteIfUnprintable(*patch) : "";
        return {{name, Severity::OK, "the label of / is " + QuoteIfUnprintable(*live) + overlay, ""}};
    }
    if (live || patch) {
        const std::string place = live ? "the overlay" : "/";
        return {{name, Severity::WARNING,
                 place + " has no SELinux label: ls shows ? for it, which differs from a label",
                 "label " + place + " and its files"}};
    }
    return {{name, Severity::WARNING, "no SELinux labels: ls shows ? for every file, and equal labels prove nothing",
             "verify labels on a system with SELinux"}};
}

}  // namespace qfctl
