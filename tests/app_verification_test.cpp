#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>

#include "support/files.h"
#include "support/limits.h"
#include "support/plume_capture.h"
#include "test_manager.h"

namespace fs = std::filesystem;
using namespace TEKLO::QuickFixEngine;

namespace {

constexpr char APP[] = "com.example.app";
const std::string HEADER =
    R"("Qen": {"description": "Compare the results of patch_file and patched_file. Verify QenIsExist, VersionCode, )"
    R"(PatchFlag.","detail": {)";

std::string Tail(const std::string& result, int success, int failed) {
    return R"(},"test_qen_result": ")" + result + R"(","total": ")" + std::to_string(success + failed) +
           R"(","success": ")" + std::to_string(success) + R"(","failed": ")" + std::to_string(failed) + R"("})";
}

/// Puts a `bm` first in the path that notes how it was called, lists what /bm/list holds and dumps /bm/NAME.
void InstallBm() {
    Write("/double/bm",
          "#!/bin/sh\necho \"$*\" >>/bm/calls\n"
          "if [ \"$2\" = -a ]; then cat /bm/list; elif [ -f \"/bm/$3\" ]; then cat \"/bm/$3\"; fi\n");
    fs::permissions("/double/bm", fs::perms(0755));
    setenv("PATH", "/double:/usr/bin", 1);
    Write("/bm/list", "");
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
        const char* reasons;
    };
    const Case cases[] = {
        {true, true, "1000001", ""},
        {true, true, "4294967295", ""},
        {true, true, "1000000", "RunTimes Version=1000000,PatchPakage Version=1000001"},
        {true, true, "", "RunTimes Version=7,PatchPakage Version=1000001"},
        {true, false, "1000001", "teklo.app.quickfix not exist"},
        {true, false, "1", "teklo.app.quickfix not exist,RunTimes Version=1,PatchPakage Version=1000001"},
        {false, true, "1000001", "miss"},
        {false, true, "1", "miss,RunTimes Version=1,PatchPakage Version=1000001"},
        {false, false, "1000001", "miss,teklo.app.quickfix not exist"},
    };
    InstallBm();
    TestManager manager;
    for (const Case& c : cases) {
        Write("/bm/list", c.present ? "com.example.other\ncom.example.app\n" : "com.example.other\n");
        Write(std::string("/bm/") + APP, Dump(c.flag, c.version));
        manager.CheckAppPatchInit();
        manager.CheckAppPatch(APP, 1000001);
        const std::string reasons = c.reasons;
        const bool passed = reasons.empty();
        EXPECT_EQ(manager.CheckAppPatchEnd(), HEADER + R"("com.example.app": ")" +
                                                  (passed ? "true" : "false," + reasons) + R"(")" +
                                                  Tail(passed ? "true" : "false", passed ? 1 : 0, passed ? 0 : 1));
    }
    // Two items in one run, and the commands as they were issued.
    fs::remove("/bm/calls");
    std::vector<std::pair<std::string, bool>> items;
    manager.SetProgressListener([&items](const std::string& item, bool passed) { items.emplace_back(item, passed); });
    Write("/bm/list", "com.example.app\n");
    Write(std::string("/bm/") + APP, Dump(true, "0"));
    manager.CheckAppPatchInit();
    manager.CheckAppPatch(APP, 0);
    manager.CheckAppPatch("com.example.gone", 1000001);
    EXPECT_EQ(manager.CheckAppPatchEnd(),
              HEADER +
                  R"("com.example.app": "true","com.example.gone": "false,miss,teklo.app.quickfix not exist,)"
                  R"(RunTimes Version=0,PatchPakage Version=1000001")" +
                  Tail("false", 1, 1));
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
    InstallBm();
    TestManager manager;
    for (const auto& [list, present] : cases) {
        Write("/bm/list", list);
        EXPECT_EQ(manager.AppIsExist(APP), present) << list;
    }
}

TEST(AppSteps, AnswersEndAtTheir512thByte) {
    InstallBm();
    TestManager manager;
    // One name of 511 bytes fills the block with its line feed, one of 512 leaves no room for it.
    for (const size_t length : {size_t{511}, size_t{512}, size_t{600}}) {
        const std::string name(length, 'n');
        Write("/bm/list", name + "\n");
        EXPECT_TRUE(manager.AppIsExist(name)) << "what is behind the block isn't looked at";
        EXPECT_FALSE(manager.AppIsExist(std::string(length, 'N')));
    }
    // Each flag is 19 bytes with its line feed, so the block ends within the 27th.
    std::string dump;
    for (int i = 0; i < 40; ++i) {
        dump += "teklo.app.quickfix\n";
    }
    Write(std::string("/bm/") + APP, dump);
    EXPECT_TRUE(manager.PatchFlagIsExist(APP));
    unsigned int version = 5;
    EXPECT_FALSE(manager.CheckAppVersion(APP, 0, version));
    EXPECT_EQ(version, 5U) << "untouched without an answer";
    Write(std::string("/bm/") + APP, "\"versionCode\": " + std::string(600, '0') + "9\n");
    EXPECT_TRUE(manager.CheckAppVersion(APP, 0, version));
    EXPECT_EQ(version, 0U);
}

TEST(AppSteps, WhatIsRecordedOfAnOddAnswerAndOfNoShell) {
    InstallBm();
    TestManager manager;
    // A grep that answers something else.
    Write("/double/grep", "#!/bin/sh\nprintf 'odd\\0teklo.app.quickfix'\n");
    fs::permissions("/double/grep", fs::perms(0755));
    PlumeCapture capture;
    EXPECT_FALSE(manager.PatchFlagIsExist(APP));
    Write("/double/grep", "#!/bin/sh\nprintf x\n");
    EXPECT_TRUE(manager.AppIsExist(APP)) << "one byte counts as present";
    unsigned int version = 0;
    {
        const DescriptorLimit limit(FirstFreeDescriptor());
        EXPECT_FALSE(manager.AppIsExist(APP) || manager.PatchFlagIsExist(APP) ||
                     manager.CheckAppVersion(APP, 0, version));
    }
    EXPECT_EQ(capture.Take(), (Records{"E PatchFlagIsExist: cmdString : odd", "E AppIsExist: Failed to run the command",
                                       "E PatchFlagIsExist: Failed to run the command",
                                       "E CheckAppVersion: Failed to run the command"}));
}

}  // namespace
