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
const std::string HEADER =
    R"("Native": {"description":  "Compare the results of patch_file and patched_file.Verify SHA256, RWX, Selinux.",)"
    R"("detail": {)";
// Of "live" and "patch".
const std::string LIVE_DIGEST = "247610f4dedd4ab7247d07dbda19c81ca9817f85820742cad49d407ffae9e4ed";
const std::string PATCH_DIGEST = "a4895eb44afc336fecbba6e520cd67e178dace0276655d102fceffa8e5f70570";

std::string Tail(const std::string& result, int success, int failed) {
    return R"(},"test_native_result": ")" + result + R"(","total": ")" + std::to_string(success + failed) +
           R"(","success": ")" + std::to_string(success) + R"(","failed": ")" + std::to_string(failed) + R"("})";
}

void WriteWithMode(const std::string& path, const std::string& content, unsigned int mode) {
    Write(path, content);
    fs::permissions(path, static_cast<fs::perms>(mode));
}

/// Puts a stand-in for `ls` first in the path that shows SELinux labels, which this file system has none of: the label
/// of /x is what the file /labels/x holds.
void LabelFiles() {
    WriteWithMode("/double/ls",
                  "#!/bin/sh\n"
                  "[ \"$1\" = -Z ] || exec /usr/bin/ls \"$@\"\n"
                  "cat \"/labels$2\"; echo \" $2\"\n",
                  0755);
    setenv("PATH", "/double:/usr/bin", 1);
}

TEST(NativeRun, NothingToCheckIsNull) {
    fs::create_directories(OVERLAY + "/only/folders");
    fs::create_symlink("/etc/passwd", OVERLAY + "/link");
    TestManager manager;
    EXPECT_EQ(manager.CheckNativePatch(), R"("Native": "null")");

    fs::remove_all(OVERLAY);
    PlumeCapture capture;
    EXPECT_EQ(manager.CheckNativePatch(), R"("Native": "null")");
    EXPECT_EQ(capture.Take(), (Records{"I CheckNativePatch: Check Native Patch Begin",
                                       "E TraverseFile: open patch folder faild : /patch_qv/overlay"}));
}

TEST(NativeRun, EachDifferenceIsReportedByteForByte) {
    struct Case {
        const char* name;
        std::string live;  // empty: there is no live file
        unsigned int liveMode;
        std::string liveLabel;
        std::string entry;
    };
    // The patch file holds "patch", is 0644 and labelled "u:object_r:patch:s0".
    const Case cases[] = {
        {"equal", "patch", 0644, "u:object_r:patch:s0", R"("/system/x": "true")"},
        {"content", "live", 0644, "u:object_r:patch:s0",
         R"("/system/x": "false,source:SHA256=)" + LIVE_DIGEST + ".patch_qv:SHA256=" + PATCH_DIGEST + R"(.")"},
        {"mode", "patch", 04755, "u:object_r:patch:s0",
         R"("/system/x": "false,source:RWX=-rwsr-xr-x.patch_qv:RWX=-rw-r--r--.")"},
        {"label", "patch", 0644, "live",
         R"("/system/x": "false,source:SeLinux=live.patch_qv:SeLinux=u:object_r:patch:s0.")"},
        {"content and mode", "live", 0600, "u:object_r:patch:s0",
         R"("/system/x": "false,source:SHA256=)" + LIVE_DIGEST + ",RWX=-rw-------.patch_qv:SHA256=" + PATCH_DIGEST +
             R"(,RWX=-rw-r--r--.")"},
        {"mode and label", "patch", 0600, "live",
         R"("/system/x": "false,source:RWX=-rw-------,SeLinux=live.patch_qv:RWX=-rw-r--r--,)"
         R"(SeLinux=u:object_r:patch:s0.")"},
        {"no live file", "", 0, "",
         R"("/system/x": "false,source:SHA256=,RWX=,SeLinux=.patch_qv:SHA256=)" + PATCH_DIGEST +
             R"(,RWX=-rw-r--r--,SeLinux=u:object_r:patch:s0.")"},
    };
    LabelFiles();
    WriteWithMode(OVERLAY + "/system/x", "patch", 0644);
    Write("/labels" + OVERLAY + "/system/x", "u:object_r:patch:s0");
    TestManager manager;
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        fs::remove("/system/x");
        if (!c.live.empty()) {
            WriteWithMode("/system/x", c.live, c.liveMode);
        }
        Write("/labels/system/x", c.liveLabel);
        const bool passed = c.entry.find("true") != std::string::npos;
        EXPECT_EQ(manager.CheckNativePatch(),
                  HEADER + c.entry + Tail(passed ? "true" : "false", passed ? 1 : 0, passed ? 0 : 1));
    }
}

TEST(NativeRun, OneFailureAnywhereFailsTheRunAndEachRunStartsAnew) {
    for (const char* name : {"/a", "/b", "/sub/c", "/sub/d"}) {
        WriteWithMode(OVERLAY + name, "patch", 0644);
        WriteWithMode(name, "patch", 0644);
    }
    Write("/b", "live");
    std::vector<std::pair<std::string, bool>> items;
    TestManager manager;
    manager.SetProgressListener([&items](const std::string& item, bool passed) { items.emplace_back(item, passed); });
    std::string fragment = manager.CheckNativePatch();
    EXPECT_NE(fragment.find(Tail("false", 3, 1)), std::string::npos) << fragment;
    std::sort(items.begin(), items.end());
    EXPECT_EQ(items, (std::vector<std::pair<std::string, bool>>{
                         {"/a", true}, {"/b", false}, {"/sub/c", true}, {"/sub/d", true}}));
    Write("/b", "patch");
    manager.SetProgressListener(nullptr);
    fragment = manager.CheckNativePatch();
    EXPECT_NE(fragment.find(Tail("true", 4, 0)), std::string::npos) << fragment;
    EXPECT_EQ(items.size(), 4U);
}

TEST(NativeRun, GlobalLocaleChangesNoByte) {
    struct Grouping : std::numpunct<char> {
        char do_thousands_sep() const override { return '.'; }
        std::string do_grouping() const override { return "\1"; }
    };
    for (int i = 0; i < 12; ++i) {
        WriteWithMode(OVERLAY + "/" + std::to_string(i), "patch", 0644);
    }
    std::locale::global(std::locale(std::locale::classic(), new Grouping));
    const std::string fragment = TestManager().CheckNativePatch();
    std::locale::global(std::locale::classic());
    EXPECT_NE(fragment.find(Tail("false", 0, 12)), std::string::npos) << fragment;
}

TEST(NativeRun, RecordsOfOneFile) {
    WriteWithMode(OVERLAY + "/x", "patch", 0644);
    WriteWithMode("/x", "patch", 0644);
    PlumeCapture capture(QuickFixPlumeLevel::DEBUG);
    TestManager().CheckNativePatch();
    EXPECT_EQ(
        capture.Take(),
        (Records{"I CheckNativePatch: Check Native Patch Begin", "I GetFileSHA256: filePath: /patch_qv/overlay/x",
                 "I GetFileSHA256: filePath: /x", "D GetFileProp: filePath: /patch_qv/overlay/x, Prop: -rw-r--r--",
                 "D GetFileProp: filePath: /x, Prop: -rw-r--r--",
                 "D GetFileSeLinux: filePath: /patch_qv/overlay/x, Selinux: ?",
                 "D GetFileSeLinux: filePath: /x, Selinux: ?"}));
}

TEST(NativeRun, DeepTreeIsCheckedWholeWithFewDescriptorsAndNothingIsLeaked) {
    std::string path;
    for (int level = 0; level < 200; ++level) {
        path += "/deep" + std::to_string(level);
        if (level % 20 == 0) {
            WriteWithMode(OVERLAY + path + "/file", "patch", 0644);
            WriteWithMode(path + "/file", "patch", 0644);
        }
    }
    WriteWithMode(OVERLAY + path + "/file", "patch", 0644);
    WriteWithMode(path + "/file", "live", 0644);
    const DescriptorLimit limit(64);
    QF_FILE_LOGI("opens the log");
    const long before = OpenDescriptors();
    const std::string fragment = TestManager().CheckNativePatch();
    EXPECT_NE(fragment.find(Tail("false", 10, 1)), std::string::npos) << fragment;
    EXPECT_EQ(OpenDescriptors(), before);
    EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1) << "a command was not waited for";
}

TEST(AppRun, NothingToCheckIsNull) {
    TestManager manager;
    PlumeCapture capture;
    manager.CheckAppPatchInit();
    EXPECT_EQ(manager.CheckAppPatchEnd(), R"("Qen": "null")");
    EXPECT_EQ(capture.Take(), Records{"I CheckAppPatchInit: Check Qen Patch Begin"});
}

TEST(NativeSteps, ColumnsOfOtherListings) {
    TestManager manager;
    fs::create_directory("/tmp/empty");
    EXPECT_EQ(manager.GetFileProp("/tmp/empty"), "total 0\n");
    EXPECT_EQ(manager.GetFileProp("/usr/lib"), "total " + manager.GetFileProp("/usr/lib").substr(6, 4));
    EXPECT_EQ(manager.GetFileProp("/missing"), "");
    EXPECT_EQ(manager.GetFileSeLinux("/missing"), "");
    LabelFiles();
    WriteWithMode("/double/ls", "#!/bin/sh\necho drwxr-xr-x+\n", 0755);
    EXPECT_EQ(manager.GetFileProp("/x"), "drwxr-xr-x");
    EXPECT_EQ(manager.GetFileSeLinux("/x"), "drwxr-xr-x+\n");
    WriteWithMode("/double/ls", "#!/bin/sh\nhead -c 5000 /dev/zero | tr '\\0' l\n", 0755);
    EXPECT_EQ(manager.GetFileSeLinux("/x"), std::string(1023, 'l'));
}

}  // namespace
