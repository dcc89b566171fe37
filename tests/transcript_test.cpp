#include "support/transcript.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <set>
#include <sstream>

#include "support/files.h"
#include "support/labels.h"
#include "support/limits.h"

namespace fs = std::filesystem;

namespace {

std::set<std::string> Names() {
    std::set<std::string> names;
    for (const auto& file : fs::directory_iterator(TEST_DATA "/transcripts")) {
        names.insert(file.path().filename());
    }
    return names;
}

/// Why the root of this run doesn't allow a transcript of that name; empty if it does.
std::string ReasonToSkip(const std::string& name) {
    const auto has = [&name](const char* part) { return name.find(part) != std::string::npos; };
    if (has("Owner") && !CanChangeOwners()) {
        return "giving a file away takes root";
    }
    if (has("ReadOnly") && access("/usr", W_OK) == 0) {
        return "/usr is not read-only";
    }
    if (has("FullDisk") && !IsOnSmallDisk(LOG_DIR)) {
        return "there is no small disk to fill";
    }
    if (has("CommandLine") && Read("/proc/cmdline") != Read(TEST_DATA "/cmdline")) {
        return "/proc/cmdline is not the test's";
    }
    return "";
}

/// Each file of tests/data/transcripts is a test: calls one after the other, "NAME WORD... -> OUTCOME", and below each
/// its records.
class Transcripts : public testing::TestWithParam<std::string> {};

TEST_P(Transcripts, Hold) {
    if (const std::string reason = ReasonToSkip(GetParam()); !reason.empty()) {
        GTEST_SKIP() << reason;
    }
    umask(022);
    const std::string expected = Read(TEST_DATA "/transcripts/" + GetParam());
    if (expected.find("\nlabel ") != std::string::npos && !CanSetLabels()) {
        GTEST_SKIP() << "setting a label takes root";
    }
    std::istringstream lines(expected);
    std::string seen;
    for (std::string line; std::getline(lines, line);) {
        if (line.empty() || line[0] == '#') {
            seen += line + "\n";
        } else if (line[0] != ' ') {
            seen += Do(line.substr(0, line.find(" -> ")));
        }
    }
    EXPECT_EQ(seen, expected);
}

INSTANTIATE_TEST_SUITE_P(All, Transcripts, testing::ValuesIn(Names()), [](const auto& test) { return test.param; });

}  // namespace
