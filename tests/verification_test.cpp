#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdlib>
#include <locale>
#include <type_traits>

#include "quick_fix_log.h"
#include "support/files.h"
#include "support/limits.h"
#include "support/plume_capture.h"
#include "test_manager.h"

namespace fs = std::filesystem;
using namespace TEKLO::QuickFixEngine;

namespace {

const std::string OVERLAY = "/patch_qv/overlay";

// Callers take the address of a public function, so no other may share its name.
static_assert(std::is_member_function_pointer_v<decltype(&TestManager::GetFileProp)>);
static_assert(std::is_member_function_pointer_v<decltype(&TestManager::GetFileSeLinux)>);
static_assert(std::is_member_function_pointer_v<decltype(&QuickFixLogger::ChangeFileForOverSize)>);

void WriteWithMode(const std::string& path, const std::string& content, unsigned int mode) {
    Write(path, content);
    fs::permissions(path, static_cast<fs::perms>(mode));
}

void InstallPair(const std::string& path, const std::string& live) {
    WriteWithMode(OVERLAY + path, "patch", 0644);
    WriteWithMode(path, live, 0644);
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

}  // namespace
