#include <gtest/gtest.h>

#include <cstdlib>
#include <vector>

#include "support/command.h"
#include "support/files.h"
#include "test_manager.h"

namespace fs = std::filesystem;
using TEKLO::QuickFixEngine::TestManager;

namespace {

const std::string OVERLAY = "/patch_qv/overlay";

bool Contains(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

void AddFile(const std::string& live, const std::string& liveContent, const std::string& patchContent) {
    Write(live, liveContent);
    Write(OVERLAY + live, patchContent);
}

TEST(QfctlVerify, ExitCodes) {
    struct Case {
        const char* arguments;
        int exitCode;
        const char* errors;
    };
    const Case cases[] = {
        {"--help", 0, ""},
        {"--version", 0, ""},
        {"", 2, "A subcommand is required"},
        {"nonsense", 2, "nonsense"},
        {"verify --nonsense", 2, "--nonsense"},
        {"verify --report", 2, "--report"},
        {"verify --report ''", 2, "name is empty"},
        {"verify", 3, "there is no file below /patch_qv/overlay"},
        {"verify --json", 3, "there is no file below /patch_qv/overlay"},
    };
    for (const Case& c : cases) {
        const CommandResult result = Qfctl(c.arguments);
        EXPECT_EQ(result.exitCode, c.exitCode) << c.arguments;
        EXPECT_TRUE(Contains(result.errors, c.errors)) << result.errors;
    }
    fs::remove_all(OVERLAY);
    EXPECT_EQ(Qfctl("verify").exitCode, 3);
    AddFile("/a", "same", "same");
    EXPECT_EQ(Qfctl("verify").exitCode, 0);
    AddFile("/b", "live", "patch");
    EXPECT_EQ(Qfctl("verify").exitCode, 1);
    EXPECT_EQ(Qfctl("verify >/dev/full").exitCode, 3);
}

TEST(QfctlVerify, TableShowsBothValuesOfEachFailingCheck) {
    AddFile("/x", "live", "patch");
    fs::permissions("/x", fs::perms(0600));
    Write(OVERLAY + "/gone", "patch");
    const CommandResult result = Qfctl("verify");
    EXPECT_TRUE(Contains(result.output, "VERDICT  LIVE PATH  CHECK    LIVE             PATCH\n"))
        << result.output;
    EXPECT_TRUE(Contains(result.output,
                         "FAIL     /x         SHA256   247610f4dedd...  a4895eb44afc...\n"
                         "                    RWX      -rw-------       -rw-r--r--\n"));
    EXPECT_TRUE(Contains(result.output, "FAIL     /gone      SHA256   (none)           a4895eb44afc...\n"));
    EXPECT_TRUE(Contains(result.output, "\n2 files: 0 passed, 2 failed\n"));
    EXPECT_EQ(result.errors, "") << "what ls says of a missing file stays out of the way";
}

TEST(QfctlVerify, JsonAndReportAreTheFragmentAsAnObject) {
    AddFile("/a", "live", "patch");
    AddFile("/b", "same", "same");
    const std::string expected = "{" + TestManager().CheckNativePatch() + "}\n";
    const CommandResult result = Qfctl("verify --json --report /tmp/report.json");
    EXPECT_EQ(result.output, expected);
    EXPECT_EQ(Read("/tmp/report.json"), expected);
    EXPECT_EQ(result.errors, "");
    // A live folder's listing has a line feed, which JSON text can't hold as it is.
    fs::create_directory("/folder");
    Write(OVERLAY + "/folder", "patch");
    EXPECT_TRUE(Contains(Qfctl("verify --json").output, "RWX=total 0\\u000a,SeLinux=.patch_qv:"));
    EXPECT_TRUE(Contains(Qfctl("verify").output, "\"total 0\\n\""));
}

TEST(QfctlVerify, FailedReportLeavesWhatWasThere) {
    AddFile("/a", "same", "same");
    const std::string folder = LOG_DIR;
    Write(folder + "report", "former");
    {
        std::ofstream filler(folder + "filler");
        while (filler << std::string(4096, 'f') << std::flush) {
        }
    }
    CommandResult result = Qfctl("verify --report " + folder + "report");
    EXPECT_EQ(result.exitCode, 3);
    EXPECT_TRUE(Contains(result.errors, "No space left on device")) << result.errors;
    EXPECT_TRUE(Contains(result.output, "1 file: 1 passed, 0 failed"));
    EXPECT_EQ(Read(folder + "report"), "former");
    fs::remove(folder + "filler");
    for (const auto& entry : fs::directory_iterator(folder)) {
        EXPECT_FALSE(Contains(entry.path(), "report.")) << entry.path();
    }
    fs::create_symlink(folder + "report", "/tmp/link");
    EXPECT_EQ(Qfctl("verify --report /tmp/link").exitCode, 0);
    EXPECT_TRUE(fs::is_symlink("/tmp/link"));
    EXPECT_TRUE(Contains(Read(folder + "report"), "{\"Native\""));

    fs::create_symlink("/nowhere", "/tmp/dangling");
    for (const char* path : {"/dev/null", "/tmp", "/nowhere/report", "/tmp/dangling"}) {
        result = Qfctl(std::string("verify --report ") + path);
        EXPECT_EQ(result.exitCode, 3) << path;
        EXPECT_EQ(result.output, "") << "refused before anything ran";
    }
}

TEST(QfctlVerify, NamesThatAShellWouldInterpretAreRefusedBeforeAnythingRuns) {
    const std::pair<const char*, const char*> names[] = {
        {"a b", "a b"},
        {"a\tb", "a\\x09b"},
        {"a\nb", "a\\nb"},
        {"a;touch${IFS}pwned", "a;touch${IFS}pwned"},
        {"$(touch pwned)", "$(touch pwned)"},
        {"`touch pwned`", "`touch pwned`"},
        {"a|b", "a|b"},
        {"a&b", "a&b"},
        {"a>pwned", "a>pwned"},
        {"a<b", "a<b"},
        {"a(b", "a(b"},
        {"a*", "a*"},
        {"a?", "a?"},
        {"[a]", "[a]"},
        {"{a,b}", "{a,b}"},
        {"a'b", "a'b"},
        {"a\"b", "a\\\"b"},
        {"a\\b", "a\\\\b"},
        {"~", "~"},
        {"#", "#"},
        {"a!", "a!"},
        {"a\x1b[2J", "a\\x1b[2J"},
        {"a\x7f", "a\\x7f"},
        {"a\xff", "a\\xff"},
        {"a\xc2\x9b", "a\\xc2\\x9b"},
        {"a\xc0\xaf", "a\\xc0\\xaf"},
        {"a\xed\xa0\x80", "a\\xed\\xa0\\x80"},
        {"a\xe2\x82", "a\\xe2\\x82"},
    };
    AddFile("/fine", "same", "same");
    for (const auto& [name, shown] : names) {
        for (const char* folder : {"/", "/sub/"}) {
            const std::string path = OVERLAY + folder + name;
            Write(path, "x");
            const CommandResult result = Qfctl("verify");
            EXPECT_EQ(result.exitCode, 3) << shown;
            EXPECT_EQ(result.output, "");
            EXPECT_TRUE(Contains(result.errors, "  \"" + OVERLAY + folder + shown + "\"\n")) << result.errors;
            fs::remove(path);
            fs::create_directories(path);
            EXPECT_EQ(Qfctl("verify").exitCode, 3) << "as a folder: " << shown;
            fs::remove(path);
        }
    }
    EXPECT_FALSE(fs::exists("pwned"));
    for (const char* name :
         {"/lib-1.2_3+x.so.4", "/a=b,c:d@e%f", "/\xc3\xa9\xe2\x82\xac\xf0\x9f\x98\x80", "/-l"}) {
        AddFile(name, "same", "same");
    }
    EXPECT_EQ(Qfctl("verify").exitCode, 0);
}

TEST(QfctlVerify, WhatCanNotBeCheckedWholeIsRefused) {
    AddFile("/fine", "same", "same");
    Write(OVERLAY + "/pipe", "x");
    EXPECT_EQ(RunCommand("mkfifo /pipe").exitCode, 0);
    EXPECT_TRUE(Contains(Qfctl("verify").errors, "\"/pipe\" is a pipe or a device"));
    fs::remove(OVERLAY + "/pipe");
    fs::create_directory(OVERLAY + "/locked");
    fs::permissions(OVERLAY + "/locked", fs::perms::none);
    const std::string as = geteuid() == 0 ? "setpriv --reuid 65534 --clear-groups " : "";
    CommandResult result = RunCommand(as + QFCTL " verify");
    EXPECT_EQ(result.exitCode, 3);
    EXPECT_TRUE(
        Contains(result.errors, "the folder \"/patch_qv/overlay/locked\" can't be read: Permission denied"))
        << result.errors;
    fs::remove(OVERLAY + "/locked");
    // Two digests that can't be had are equal, which proves nothing.
    AddFile("/secret", "live", "patch");
    fs::permissions("/secret", fs::perms::none);
    fs::permissions(OVERLAY + "/secret", fs::perms::none);
    result = RunCommand(as + QFCTL " verify");
    EXPECT_EQ(result.exitCode, 3);
    EXPECT_TRUE(Contains(result.errors, "\"/secret\" can't be read: Permission denied")) << result.errors;
    EXPECT_TRUE(Contains(result.errors, "\"/patch_qv/overlay/secret\" can't be read: Permission denied"));
    fs::remove(OVERLAY + "/secret");
    EXPECT_TRUE(Contains(RunCommand("PATH=/nowhere " QFCTL " verify").errors, "the command ls can't be run"));
}

TEST(QfctlVerify, RecordsAndProgressShowWhereTheyAreWanted) {
    AddFile("/a", "live", "patch");
    EXPECT_EQ(Qfctl("verify").errors, "");
    const std::string records = Qfctl("verify -v").errors;
    EXPECT_TRUE(Contains(records, "I 2")) << records;
    EXPECT_TRUE(Contains(records, "D002E03 QuickFixUitls: [test_manager(CheckNativePatch):")) << records;
    EXPECT_TRUE(Contains(records, "(GetFileProp):")) << "debug records too";

    const auto onTerminal = [](const std::string& environment) {
        return RunCommand(environment + " script -qec '" QFCTL " verify' /dev/null").output;
    };
    EXPECT_TRUE(Contains(onTerminal("TERM=xterm"), "\r[1/1] /a\x1b[K\r\x1b[K"));
    EXPECT_TRUE(Contains(onTerminal("TERM=xterm"), "\x1b[31mFAIL"));
    EXPECT_TRUE(Contains(onTerminal("NO_COLOR=1"), "\nFAIL     /a"));
}

}  // namespace
