#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdlib>
#include <locale>

#include "quick_fix_log.h"
#include "support/files.h"
#include "support/limits.h"
#include "support/plume_capture.h"
#include "test_manager.h"

namespace fs = std::filesystem;
using namespace TEKLO::QuickFixEngine;

namespace {

const std::string OVERLAY = "/patch_qv/overlay";
// Of "live" and "patch".
const std::string LIVE_DIGEST = "247610f4dedd4ab7247d07dbda19c81ca9817f85820742cad49d407ffae9e4ed";
const std::string PATCH_DIGEST = "a4895eb44afc336fecbba6e520cd67e178dace0276655d102fceffa8e5f70570";
constexpr char APP[] = "com.example.app";

std::string Fragment(const std::string& head, const std::string& name, int success, int failed) {
    return head + R"(},"test_)" + name + R"(_result": ")" + (failed == 0 ? "true" : "false") + R"(","total": ")" +
           std::to_string(success + failed) + R"(","success": ")" + std::to_string(success) + R"(","failed": ")" +
           std::to_string(failed) + R"("})";
}

std::string Native(const std::string& entries, int success, int failed) {
    const std::string header = R"("Native": {"description":  "Compare the results of patch_file and patched_file.)"
                               R"(Verify SHA256, RWX, Selinux.","detail": {)";
    return Fragment(header + entries, "native", success, failed);
}

std::string Qen(const std::string& entries, int success, int failed) {
    const std::string header = R"("Qen": {"description": "Compare the results of patch_file and patched_file. )"
                               R"(Verify QenIsExist, VersionCode, PatchFlag.","detail": {)";
    return Fragment(header + entries, "qen", success, failed);
}

void WriteWithMode(const std::string& path, const std::string& content, unsigned int mode) {
    Write(path, content);
    fs::permissions(path, static_cast<fs::perms>(mode));
}

void InstallPair(const std::string& path, const std::string& live) {
    WriteWithMode(OVERLAY + path, "patch", 0644);
    WriteWithMode(path, live, 0644);
}

/// Puts a script first in the path.
void InstallCommand(const std::string& name, const std::string& script) {
    WriteWithMode("/double/" + name, "#!/bin/sh\n" + script, 0755);
    setenv("PATH", "/double:/usr/bin", 1);
}

/// Shows SELinux labels, which this file system has none of: that of /x is what the file /labels/x holds.
void InstallLabels() {
    InstallCommand("ls", "[ \"$1\" = -Z ] || exec /usr/bin/ls \"$@\"\ncat \"/labels$2\"; echo \" $2\"\n");
}

/// Lists what /bm/list holds, dumps /bm/NAME, and notes how it was called.
void InstallBm(const std::string& list, const std::string& dump) {
    InstallCommand("bm",
                   "echo \"$*\" >>/bm/calls\nif [ \"$2\" = -a ]; then cat /bm/list; elif [ -f \"/bm/$3\" ]; then cat "
                   "\"/bm/$3\"; fi\n");
    Write("/bm/list", list);
    Write(std::string("/bm/") + APP, dump);
}

TEST(Runs, NothingToCheckIsNull) {
    fs::create_directories(OVERLAY + "/only/folders");
    fs::create_symlink("/etc/passwd", OVERLAY + "/link");
    TestManager manager;
    EXPECT_EQ(manager.CheckNativePatch(), R"("Native": "null")");
    fs::remove_all(OVERLAY);
    PlumeCapture capture;
    EXPECT_EQ(manager.CheckNativePatch(), R"("Native": "null")");
    manager.CheckAppPatchInit();
    EXPECT_EQ(manager.CheckAppPatchEnd(), R"("Qen": "null")");
    EXPECT_EQ(capture.Take(), (Records{"I CheckNativePatch: Check Native Patch Begin",
                                       "E TraverseFile: open patch folder faild : /patch_qv/overlay",
                                       "I CheckAppPatchInit: Check Qen Patch Begin"}));
}

TEST(NativeRun, EachDifferenceIsReportedByteForByte) {
    struct Case {
        std::string live;  // empty: there is no live file
        unsigned int liveMode;
        std::string liveLabel;
        std::string source;  // empty: nothing differs
        std::string patch;
    };
    const std::string label = "u:object_r:patch:s0";
    const std::string source = "SHA256=" + LIVE_DIGEST;
    const std::string patch = "SHA256=" + PATCH_DIGEST;
    // The patch file holds "patch", is 0644 and labelled as above.
    const Case cases[] = {
        {"patch", 0644, label, "", ""},
        {"live", 0644, label, source, patch},
        {"patch", 04755, label, "RWX=-rwsr-xr-x", "RWX=-rw-r--r--"},
        {"patch", 0644, "live", "SeLinux=live", "SeLinux=" + label},
        {"live", 0600, label, source + ",RWX=-rw-------", patch + ",RWX=-rw-r--r--"},
        {"patch", 0600, "live", "RWX=-rw-------,SeLinux=live", "RWX=-rw-r--r--,SeLinux=" + label},
        {"", 0, "", "SHA256=,RWX=,SeLinux=", patch + ",RWX=-rw-r--r--,SeLinux=" + label},
    };
    InstallLabels();
    WriteWithMode(OVERLAY + "/system/x", "patch", 0644);
    Write("/labels" + OVERLAY + "/system/x", label);
    TestManager manager;
    for (const Case& c : cases) {
        fs::remove("/system/x");
        if (!c.live.empty()) {
            WriteWithMode("/system/x", c.live, c.liveMode);
        }
        Write("/labels/system/x", c.liveLabel);
        const bool passed = c.source.empty();
        const std::string verdict = passed ? "true" : "false,source:" + c.source + ".patch_qv:" + c.patch + ".";
        EXPECT_EQ(manager.CheckNativePatch(),
                  Native(R"("/system/x": ")" + verdict + R"(")", passed ? 1 : 0, passed ? 0 : 1));
        EXPECT_EQ(manager.GetUnprovenCount(), 0U);
    }
}

TEST(NativeRun, OneFailureAnywhereFailsTheRunAndEachRunStartsAnew) {
    for (const char* name : {"/a", "/b", "/sub/c", "/sub/d"}) {
        InstallPair(name, name == std::string("/b") ? "live" : "patch");
    }
    std::vector<std::pair<std::string, bool>> items;
    TestManager manager;
    manager.SetProgressListener([&items](const std::string& item, bool passed) { items.emplace_back(item, passed); });
    EXPECT_THAT(manager.CheckNativePatch(),
                testing::HasSubstr(R"(_result": "false","total": "4","success": "3","failed": "1"})"));
    EXPECT_THAT(items, testing::UnorderedElementsAre(testing::Pair("/a", true), testing::Pair("/b", false),
                                                     testing::Pair("/sub/c", true), testing::Pair("/sub/d", true)));
    Write("/b", "patch");
    manager.SetProgressListener(nullptr);
    EXPECT_THAT(manager.CheckNativePatch(),
                testing::HasSubstr(R"(_result": "true","total": "4","success": "4","failed": "0"})"));
    EXPECT_EQ(items.size(), 4U);
}

TEST(NativeRun, GlobalLocaleChangesNoByte) {
    struct Grouping : std::numpunct<char> {
        char do_thousands_sep() const override { return '.'; }
        std::string do_grouping() const override { return "\1"; }
    };
    for (int i = 0; i < 12; ++i) {
        InstallPair("/" + std::to_string(i), "live");
    }
    std::locale::global(std::locale(std::locale::classic(), new Grouping));
    const std::string fragment = TestManager().CheckNativePatch();
    std::locale::global(std::locale::classic());
    EXPECT_THAT(fragment, testing::HasSubstr(R"("total": "12","success": "0","failed": "12"})"));
}

TEST(NativeRun, RecordsOfOneFile) {
    InstallPair("/x", "patch");
    PlumeCapture capture(QuickFixPlumeLevel::DEBUG);
    TestManager().CheckNativePatch();
    const std::string patch = "filePath: /patch_qv/overlay/x";
    EXPECT_EQ(capture.Take(),
              (Records{"I CheckNativePatch: Check Native Patch Begin", "I GetFileSHA256: " + patch,
                       "I GetFileSHA256: filePath: /x", "D GetFileProp: " + patch + ", Prop: -rw-r--r--",
                       "D GetFileProp: filePath: /x, Prop: -rw-r--r--", "D GetFileSeLinux: " + patch + ", Selinux: ?",
                       "D GetFileSeLinux: filePath: /x, Selinux: ?"}));
}

TEST(NativeRun, DeepTreeIsCheckedWholeWithFewDescriptorsAndNothingIsLeaked) {
    std::string path;
    for (int level = 0; level < 200; ++level) {
        path += "/deep" + std::to_string(level);
        if (level % 20 == 0) {
            InstallPair(path + "/file", "patch");
        }
    }
    InstallPair(path + "/file", "live");
    const DescriptorLimit limit(64);
    QF_FILE_LOGI("opens the log");
    const long before = OpenDescriptors();
    EXPECT_THAT(TestManager().CheckNativePatch(), testing::HasSubstr(R"("success": "10","failed": "1")"));
    EXPECT_EQ(OpenDescriptors(), before);
    EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1) << "a command was not waited for";
}

TEST(NativeSteps, ColumnsOfOtherListings) {
    TestManager manager;
    fs::create_directory("/tmp/empty");
    EXPECT_EQ(manager.GetFileProp("/tmp/empty"), "total 0\n");
    EXPECT_EQ(manager.GetFileProp("/usr/lib").size(), 10U);
    EXPECT_EQ(manager.GetFileProp("/missing") + manager.GetFileSeLinux("/missing"), "");
    InstallCommand("ls", "echo drwxr-xr-x+\n");
    EXPECT_EQ(manager.GetFileProp("/x"), "drwxr-xr-x");
    EXPECT_EQ(manager.GetFileSeLinux("/x"), "drwxr-xr-x+\n");
    InstallCommand("ls", "head -c 5000 /dev/zero | tr '\\0' l\n");
    EXPECT_EQ(manager.GetFileSeLinux("/x"), std::string(1023, 'l'));
}

std::string Dump(bool flag, const std::string& version) {
    return std::string("{\n") + (flag ? "  \"hqf\": \"teklo.app.quickfix\",\n" : "") + "  \"versionCode\": 7,\n" +
           (version.empty() ? "" : "  \"versionCode\": " + version + ",\n") + "}\n";
}

TEST(AppRun, PresenceFlagAndVersion) {
    struct Case {
        bool present;
        bool flag;
        const char* version;
        std::string reasons;
    };
    const std::string noFlag = "teklo.app.quickfix not exist";
    const std::string tooOld = "RunTimes Version=1,PatchPakage Version=1000001";
    const Case cases[] = {
        {true, true, "1000001", ""},
        {true, true, "4294967295", ""},
        {true, true, "1000000", "RunTimes Version=1000000,PatchPakage Version=1000001"},
        {true, true, "", "RunTimes Version=7,PatchPakage Version=1000001"},
        {true, false, "1000001", noFlag},
        {true, false, "1", noFlag + "," + tooOld},
        {false, true, "1000001", "miss"},
        {false, true, "1", "miss," + tooOld},
        {false, false, "1000001", "miss," + noFlag},
    };
    TestManager manager;
    for (const Case& c : cases) {
        InstallBm(c.present ? "com.example.other\ncom.example.app\n" : "com.example.other\n", Dump(c.flag, c.version));
        manager.CheckAppPatchInit();
        manager.CheckAppPatch(APP, 1000001);
        const bool passed = c.reasons.empty();
        EXPECT_EQ(manager.CheckAppPatchEnd(),
                  Qen(R"("com.example.app": ")" + (passed ? "true" : "false," + c.reasons) + R"(")", passed ? 1 : 0,
                      passed ? 0 : 1));
    }
}

TEST(AppRun, TwoItemsInOneRunAndTheCommandsAsTheyWereIssued) {
    InstallBm("com.example.app\n", Dump(true, "0"));
    std::vector<std::pair<std::string, bool>> items;
    TestManager manager;
    manager.SetProgressListener([&items](const std::string& item, bool passed) { items.emplace_back(item, passed); });
    manager.CheckAppPatchInit();
    manager.CheckAppPatch(APP, 0);
    manager.CheckAppPatch("com.example.gone", 1000001);
    EXPECT_EQ(manager.CheckAppPatchEnd(),
              Qen(R"("com.example.app": "true","com.example.gone": "false,miss,teklo.app.quickfix not exist,)"
                  R"(RunTimes Version=0,PatchPakage Version=1000001")",
                  1, 1));
    EXPECT_THAT(items, testing::ElementsAre(testing::Pair(APP, true), testing::Pair("com.example.gone", false)));
    EXPECT_EQ(Read("/bm/calls"),
              "dump -a\ndump -n com.example.app\ndump -n com.example.app\n"
              "dump -a\ndump -n com.example.gone\ndump -n com.example.gone\n");
}

TEST(AppSteps, Presence) {
    const std::pair<std::string, bool> cases[] = {
        {"", false},
        {"com.example.app\n", true},
        {"com.example.app\ncom.example.app\n", false},  // listed twice
        {"com.example.app.more\n", true},               // grep's -w takes the dot for the end of a word
        {"com.example.application\n", false},
        {"comXexampleXapp\n", false},  // found as a pattern, but not the name
        {"x com.example.app y\n", true},
    };
    TestManager manager;
    for (const auto& [list, present] : cases) {
        InstallBm(list, "");
        EXPECT_EQ(manager.AppIsExist(APP), present) << list;
    }
}

TEST(AppSteps, AnswersEndAtTheir512thByte) {
    TestManager manager;
    // One name of 511 bytes fills the block with its line feed, one of 512 leaves no room for it.
    for (const size_t length : {size_t{511}, size_t{512}, size_t{600}}) {
        const std::string name(length, 'n');
        InstallBm(name + "\n", "");
        EXPECT_TRUE(manager.AppIsExist(name)) << "what is behind the block isn't looked at";
        EXPECT_FALSE(manager.AppIsExist(std::string(length, 'N')));
    }
    // Each flag is 19 bytes with its line feed, so the block ends within the 27th.
    std::string flags;
    for (int i = 0; i < 40; ++i) {
        flags += "teklo.app.quickfix\n";
    }
    InstallBm("", flags);
    EXPECT_TRUE(manager.PatchFlagIsExist(APP));
    unsigned int version = 5;
    EXPECT_FALSE(manager.CheckAppVersion(APP, 0, version));
    EXPECT_EQ(version, 5U) << "untouched without an answer";
    InstallBm("", "\"versionCode\": " + std::string(600, '0') + "9\n");
    EXPECT_TRUE(manager.CheckAppVersion(APP, 0, version));
    EXPECT_EQ(version, 0U);
}

TEST(AppSteps, OddAnswers) {
    TestManager manager;
    PlumeCapture capture;
    InstallCommand("grep", "printf 'odd\\0teklo.app.quickfix'\n");
    EXPECT_FALSE(manager.PatchFlagIsExist(APP));
    InstallCommand("grep", "printf x\n");
    EXPECT_TRUE(manager.AppIsExist(APP)) << "one byte counts as present";
    EXPECT_EQ(capture.Take(), Records{"E PatchFlagIsExist: cmdString : odd"});
}

}  // namespace
