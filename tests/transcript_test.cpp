#include "support/transcript.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <set>
#include <sstream>

#include "support/files.h"
#include "support/labels.h"

namespace fs = std::filesystem;

namespace {

std::set<std::string> Names() {
    std::set<std::string> names;
    for (const auto& file : fs::directory_iterator(TRANSCRIPTS)) {
        names.insert(file.path().filename());
    }
    return names;
}

/// Each file of tests/data/transcripts is a test: calls one after the other, "NAME WORD... -> OUTCOME", and below each
/// its records. What takes root has "Owner" in its name.
class Transcripts : public testing::TestWithParam<std::string> {};

TEST_P(Transcripts, Hold) {
    if (geteuid() != 0 && GetParam().find("Owner") != std::string::npos) {
        GTEST_SKIP() << "giving a file away takes root";
    }
    umask(022);
    const std::string expected = Read(fs::path(TRANSCRIPTS) / GetParam());
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
