#include "verification/file_verdicts.h"

#include <sys/stat.h>

#include <algorithm>
#include <vector>

#include "failure.h"
#include "system/file_digest.h"
#include "text/escape.h"
#include "verification/overlay_scan.h"

namespace qfctl {
namespace {

bool IsDirectory(const std::string& path) {
    struct stat status = {};
    return stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

std::vector<Difference>::const_iterator FindDifference(const ItemResult& result, const char* check) {
    return std::find_if(result.differences.begin(), result.differences.end(),
                        [check](const Difference& difference) { return difference.check == check; });
}

/// Compares the result with the modes of both files, because an ls that fails may have printed only part of a mode.
bool AgreesWithModes(const ItemResult& result, const std::string& patchPath) {
    struct stat live = {};
    struct stat patch = {};
    if (lstat(result.item.c_str(), &live) != 0 || lstat(patchPath.c_str(), &patch) != 0) {
        return true;  // a missing file has no mode
    }
    return (live.st_mode == patch.st_mode) == (FindDifference(result, "RWX") == result.differences.end());
}

bool AgreesWithDigests(const ItemResult& result, const std::string& live, const std::string& patch) {
    const auto reported = FindDifference(result, "SHA256");
    return reported == result.differences.end() ? live == patch
                                                : live != patch && reported->live == live && reported->patch == patch;
}

/// Returns an empty string if the file does not exist and is not required.
std::string ReadDigest(const std::string& path, bool isRequired) {
    try {
        return ComputeDigest(path);
    } catch (const Failure& failure) {
        if (!isRequired && failure.GetCode() == ExitCode::FAILED) {
            return "";
        }
        throw Failure(ExitCode::NOT_CHECKED, Quote(path) + " can't be read: " + failure.what());
    }
}

void CheckFileVerdict(const ItemResult& result, const std::string& overlay) {
    const std::string changed = Quote(result.item) + " or its patch file changed, or could not be read to the end";
    const std::string patchPath = overlay + result.item;
    CheckReadable(patchPath);
    CheckReadable(result.item);
    if (IsDirectory(result.item)) {
        if (result.verdict == Verdict::PASSED) {
            throw Failure(ExitCode::NOT_CHECKED, changed);
        }
        return;
    }
    const std::string patch = ReadDigest(patchPath, true);
    const std::string live = ReadDigest(result.item, false);
    if (!AgreesWithDigests(result, live, patch)) {
        throw Failure(ExitCode::NOT_CHECKED, changed);
    }
    for (const Difference& difference : result.differences) {
        if (difference.patch.empty() || (difference.live.empty() && !live.empty())) {
            throw Failure(ExitCode::NOT_CHECKED, "ls did not show the " + difference.check + " value of " +
                                                     Quote(difference.patch.empty() ? patchPath : result.item));
        }
    }
    if (!AgreesWithModes(result, patchPath)) {
        throw Failure(ExitCode::NOT_CHECKED, changed);
    }
}

}  // namespace

void CheckFileVerdicts(const std::vector<ItemResult>& files, const std::string& overlay) {
    for (const ItemResult& result : files) {
        CheckFileVerdict(result, overlay);
    }
}

}  // namespace qfctl
