#include "verification/file_verdicts.h"

#include <sys/stat.h>

#include <algorithm>

#include "system/file_digest.h"
#include "text/escape.h"
#include "verification/overlay_scan.h"

namespace qfctl {
namespace {

bool IsDirectory(const std::string& path) {
    struct stat status = {};
    return stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

/// True when the report says of the contents what their digests say.
bool AgreesWithDigests(const VerifiedItem& item, const std::string& live, const std::string& patch) {
    const auto isDigest = [](const Difference& difference) { return difference.check == "SHA256"; };
    const auto reported = std::find_if(item.differences.begin(), item.differences.end(), isDigest);
    return reported == item.differences.end() ? live == patch
                                              : live != patch && reported->live == live && reported->patch == patch;
}

std::string CheckFileVerdict(const VerifiedItem& item, const std::string& overlay) {
    std::string changed = Quote(item.name) + " or its patch file changed, or could not be read to the end";
    const std::string patchPath = overlay + item.name;
    for (const std::string& path : {patchPath, item.name}) {
        std::string error = CheckReadable(path);
        if (!error.empty()) {
            return error;
        }
    }
    if (IsDirectory(item.name)) {
        return item.passed ? changed : "";
    }
    const FileDigest patch = ComputeDigest(patchPath);
    const FileDigest live = ComputeDigest(item.name);
    if (!patch.IsKnown() || (!live.IsKnown() && !live.IsAbsent())) {
        const bool isPatch = !patch.IsKnown();
        return Quote(isPatch ? patchPath : item.name) + " can't be read: " + (isPatch ? patch : live).error;
    }
    if (!AgreesWithDigests(item, live.text, patch.text)) {
        return changed;
    }
    for (const Difference& difference : item.differences) {
        if (difference.patch.empty() || (difference.live.empty() && live.IsKnown())) {
            return "ls did not show the " + difference.check + " value of " +
                   Quote(difference.patch.empty() ? patchPath : item.name);
        }
    }
    return "";
}

}  // namespace

std::string CheckFileVerdicts(const std::vector<VerifiedItem>& files, const std::string& overlay) {
    for (const VerifiedItem& item : files) {
        std::string error = CheckFileVerdict(item, overlay);
        if (!error.empty()) {
            return error;
        }
    }
    return "";
}

}  // namespace qfctl
