#include "verification/app_verdicts.h"

#include <sys/wait.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string_view>

#include "failure.h"
#include "test_manager.h"
#include "text/escape.h"

namespace qfctl {
namespace {

using TEKLO::QuickFixEngine::PATCH_FLAG;

constexpr char LIST_BUNDLES[] = "bm dump -a";

struct CommandOutput {
    bool isComplete = false;  // exit code 0, and all output was read
    std::string text;
};

CommandOutput RunCommand(const std::string& command) {
    FILE* pipe = popen(command.c_str(), "r");
    if (pipe == nullptr) {
        return {};
    }
    CommandOutput output;
    std::array<char, 4096> block = {};
    for (size_t count = 0; (count = fread(block.data(), 1, block.size(), pipe)) > 0;) {
        output.text.append(block.data(), count);
    }
    const bool isRead = ferror(pipe) == 0;
    output.isComplete = pclose(pipe) == 0 && isRead;
    return output;
}

bool IsWordCharacter(char character) {
    return character == '_' || isalnum(static_cast<unsigned char>(character)) != 0;
}

/// Returns what `grep -w -o` prints in the C locale. "." is the only special character in the pattern.
std::vector<std::string> FindWords(const std::string& text, std::string_view pattern) {
    const auto fits = [](char wanted, char found) { return wanted == found || (wanted == '.' && found != '\n'); };
    std::vector<std::string> words;
    for (auto at = text.begin(); at != text.end();) {
        const auto start = std::search(at, text.end(), pattern.begin(), pattern.end(),
                                       [&fits](char found, char wanted) { return fits(wanted, found); });
        if (start == text.end()) {
            break;
        }
        const auto end = start + static_cast<std::ptrdiff_t>(pattern.size());
        const bool isWord =
            (start == text.begin() || !IsWordCharacter(*(start - 1))) && (end == text.end() || !IsWordCharacter(*end));
        if (isWord) {
            words.emplace_back(start, end);
        }
        at = isWord ? end : start + 1;
    }
    return words;
}

/// Returns true if the bundle itself is listed, not only a longer name that contains its name.
bool IsListed(const std::string& listing, const std::string& name) {
    const auto isPartOfName = [](char character) {
        return IsWordCharacter(character) || character == '.' || character == '-';
    };
    for (size_t at = listing.find(name); at != std::string::npos; at = listing.find(name, at + 1)) {
        const size_t end = at + name.size();
        if ((at == 0 || !isPartOfName(listing[at - 1])) && (end == listing.size() || !isPartOfName(listing[end]))) {
            return true;
        }
    }
    return false;
}

/// Returns the first number of the last line with "versionCode", or an empty string.
std::string FindVersion(const std::string& dump) {
    constexpr char DIGITS[] = "0123456789";
    const size_t label = dump.rfind("versionCode");
    if (label == std::string::npos) {
        return "";
    }
    const size_t start = dump.rfind('\n', label) + 1;  // 0 if it is the first line
    const std::string line = dump.substr(start, dump.find('\n', label) - start);
    const size_t digits = std::min(line.find_first_of(DIGITS), line.size());
    return line.substr(digits, line.find_first_not_of(DIGITS, digits) - digits);
}

/// Returns the differences that the library must find in this output of bm.
std::vector<Difference> ExpectDifferences(const App& app, const std::string& listing, const std::string& dump) {
    std::vector<Difference> differences;
    if (FindWords(listing, app.bundleName) != std::vector<std::string>{app.bundleName}) {
        differences.push_back({"Installed", "", "yes"});
    }
    const std::vector<std::string> flags = FindWords(dump, PATCH_FLAG);
    if (std::find(flags.begin(), flags.end(), PATCH_FLAG) == flags.end()) {
        differences.push_back({"PatchFlag", "", PATCH_FLAG});
    }
    const std::string digits = FindVersion(dump);
    const auto version = static_cast<unsigned int>(strtol(digits.c_str(), nullptr, 10));
    if (digits.empty() || version < app.versionCode) {
        differences.push_back({"Version", std::to_string(version), std::to_string(app.versionCode)});
    }
    return differences;
}

bool AreSame(const std::vector<Difference>& one, const std::vector<Difference>& other) {
    return std::equal(one.begin(), one.end(), other.begin(), other.end(), [](const Difference& a, const Difference& b) {
        return a.check == b.check && a.live == b.live && a.patch == b.patch;
    });
}

std::string ListBundles() {
    CommandOutput listing = RunCommand(LIST_BUNDLES);
    if (!listing.isComplete) {
        throw Failure(ExitCode::NOT_CHECKED, std::string("the command ") + LIST_BUNDLES + " fails");
    }
    return listing.text;
}

void CheckAppVerdict(const ItemResult& result, const App& app, const std::string& listing) {
    const CommandOutput dump = RunCommand("bm dump -n " + app.bundleName);
    // bm may also fail because the bundle is not installed.
    if (!dump.isComplete && IsListed(listing, app.bundleName)) {
        throw Failure(ExitCode::NOT_CHECKED,
                      "bm dump -n " + app.bundleName + " fails, although the bundle is installed");
    }
    if (!AreSame(ExpectDifferences(app, listing, dump.text), result.differences)) {
        throw Failure(ExitCode::NOT_CHECKED,
                      "the answers of bm about " + Quote(app.bundleName) + " changed, or could not be read");
    }
}

}  // namespace

void CheckBundleTool() {
    (void)ListBundles();
}

void CheckAppVerdicts(const std::vector<ItemResult>& results, const std::vector<App>& apps) {
    const std::string listing = ListBundles();
    if (results.size() != apps.size()) {
        throw Failure(ExitCode::NOT_CHECKED, "the report does not list every app");
    }
    for (size_t i = 0; i < results.size(); ++i) {
        CheckAppVerdict(results[i], apps[i], listing);
    }
}

}  // namespace qfctl
