#include "test_manager.h"

#include "support/native_run.h"

using testing::HasSubstr;

namespace {

const std::string OVERLAY = "/patch_qv/overlay";
const std::string APP = "com.example.app";
const std::string NATIVE_BEGIN = "I CheckNativePatch: Check Native Patch Begin";
const std::string APPS_BEGIN = "I CheckAppPatchInit: Check Qen Patch Begin";

// Programs may take the addresses of public functions, so these must not be overloaded.
static_assert(std::is_member_function_pointer_v<decltype(&TestManager::GetFileProp)>);
static_assert(std::is_member_function_pointer_v<decltype(&TestManager::GetFileSeLinux)>);
static_assert(std::is_member_function_pointer_v<decltype(&QuickFixLogger::ChangeFileForOverSize)>);

const std::string NATIVE =
    R"("Native": {"description":  "Compare the results of patch_file and patched_file.Verify SHA256, RWX, Selinux.",)"
    R"("detail": {)";
const std::string APPS =
    R"("Qen": {"description": "Compare the results of patch_file and patched_file. Verify QenIsExist, VersionCode, )"
    R"(PatchFlag.","detail": {)";

/// Returns the text after the entries of a run, "native" or "qen".
std::string Tail(const std::string& run, int passed, int failed) {
    return R"(},"test_)" + run + R"(_result": ")" + (failed == 0 ? "true" : "false") + R"(","total": ")" +
           std::to_string(passed + failed) + R"(","success": ")" + std::to_string(passed) + R"(","failed": ")" +
           std::to_string(failed) + R"("})";
}

/// Returns the report of a run over one item.
std::string ReportOfOneItem(const std::string& run, const std::string& item, const std::string& verdict) {
    const bool passes = verdict == "true";
    const std::string entry = '"' + item + R"(": ")" + verdict + '"';
    return (run == "qen" ? APPS : NATIVE) + entry + Tail(run, passes ? 1 : 0, passes ? 0 : 1);
}

/// Returns the verdict of an item that differs.
std::string Difference(const std::string& source, const std::string& patch) {
    return "false,source:" + source + ".patch_qv:" + patch + ".";
}

void InstallPair(const std::string& path, const std::string& live) {
    Install(OVERLAY + path, "patch");
    Install(path, live);
}

/// Installs a script as the command `name`, first in PATH.
void InstallCommand(const std::string& name, const std::string& script) {
    Install("/double/" + name, "#!/bin/sh\n" + script, 0755);
    setenv("PATH", "/double:/usr/bin", 1);
}

/// Installs a bm that prints /bm/list or /bm/BUNDLE, and appends its arguments to /bm/calls.
void InstallBundleTool() {
    fs::create_directory("/bm");
    InstallCommand("bm",
                   "echo $* >>/bm/calls\nif [ $2 = -a ]; then cat /bm/list; elif [ -f /bm/$3 ]; then cat /bm/$3; fi");
}

TEST(NativeRun, ReportsEachDifference) {
    if (!CanSetLabels()) {
        GTEST_SKIP() << "setting a label needs root";
    }
    const std::string live = "SHA256=247610f4dedd4ab7247d07dbda19c81ca9817f85820742cad49d407ffae9e4ed";
    const std::string patch = "SHA256=a4895eb44afc336fecbba6e520cd67e178dace0276655d102fceffa8e5f70570";
    const std::string label = "u:object_r:patch:s0";
    const struct {
        const char* content;
        unsigned int mode;
        std::string label, inSource, inPatch;
    } cases[] = {
        {"patch", 0644, label, "", ""},
        {"live", 0644, label, live, patch},
        {"patch", 04755, label, "RWX=-rwsr-xr-x", "RWX=-rw-r--r--"},
        {"patch", 0644, "live", "SeLinux=live", "SeLinux=" + label},
        {"patch", 0600, "live", "RWX=-rw-------,SeLinux=live", "RWX=-rw-r--r--,SeLinux=" + label},
        {nullptr, 0, "", "SHA256=,RWX=,SeLinux=", patch + ",RWX=-rw-r--r--,SeLinux=" + label},
    };
    Install(OVERLAY + "/system/x", "patch");
    SetLabel(OVERLAY + "/system/x", label);
    for (const auto& test : cases) {
        fs::remove("/system/x");
        if (test.content != nullptr) {
            Install("/system/x", test.content, test.mode);
            SetLabel("/system/x", test.label);
        }
        const std::string verdict = test.inSource.empty() ? "true" : Difference(test.inSource, test.inPatch);
        EXPECT_EQ(TestManager().CheckNativePatch(), ReportOfOneItem("native", "/system/x", verdict));
    }
}

TEST(NativeRun, FailsAfterOneFailureAndStartsAfresh) {
    for (const char* name : {"/a", "/b", "/sub/.c", "/sub/d"}) {
        InstallPair(name, name == std::string("/b") ? "live" : "patch");
    }
    fs::permissions("/b", fs::perms(0600));
    std::vector<std::string> items;
    TestManager manager;
    manager.SetItemListener([&items](const ItemResult& result) { items.push_back(Summary(result)); });
    EXPECT_THAT(manager.CheckNativePatch(), HasSubstr("\"" + Tail("native", 3, 1)));
    const std::string failed = "/b failed SHA256 " + FileUtils::GetFileSHA256("/b") + " " +
                               FileUtils::GetFileSHA256("/a") + " RWX -rw------- -rw-r--r--";
    EXPECT_THAT(items, testing::UnorderedElementsAre("/a passed", failed, "/sub/.c passed", "/sub/d passed"));
    InstallPair("/b", "patch");
    setenv("PATH", "/nowhere", 1);
    items.clear();
    manager.CheckNativePatch();
    EXPECT_THAT(items, testing::UnorderedElementsAre("/a inconclusive", "/b inconclusive", "/sub/.c inconclusive",
                                                     "/sub/d inconclusive"));
    setenv("PATH", "/usr/bin", 1);
    manager.SetItemListener(nullptr);
    EXPECT_THAT(manager.CheckNativePatch(), HasSubstr("\"" + Tail("native", 4, 0)));
    EXPECT_EQ(items.size(), 4U);
    setenv("PATH", "/nowhere", 1);
    for (int round = 0; round < 2; ++round) {
        EXPECT_THAT(manager.CheckNativePatch(), HasSubstr(Tail("native", 4, 0)));
        EXPECT_EQ(manager.GetInconclusiveCount(), 8U) << "without ls, modes and labels can't be read";
        EXPECT_EQ(manager.GetUnprovenCount(), 8U);
    }
}

TEST(NativeRun, LogsEachStepAndRunsOneCommandAtATime) {
    InstallCommand("ls", "echo $* >>/tmp/calls\nsleep 0.05\necho end >>/tmp/calls\nexec /usr/bin/ls $@");
    InstallPair("/x", "patch");
    PlumeCapture capture(QuickFixPlumeLevel::DEBUG);
    EXPECT_EQ(TestManager().CheckNativePatch(), ReportOfOneItem("native", "/x", "true"));
    const std::string patch = "filePath: /patch_qv/overlay/x";
    EXPECT_EQ(
        capture.Take(),
        (Records{NATIVE_BEGIN, "I GetFileSHA256: " + patch, "I GetFileSHA256: filePath: /x",
                 "D GetFileProp: " + patch + ", Prop: -rw-r--r--", "D GetFileProp: filePath: /x, Prop: -rw-r--r--",
                 "D GetFileSeLinux: " + patch + ", Selinux: ?", "D GetFileSeLinux: filePath: /x, Selinux: ?"}));
    EXPECT_EQ(Read("/tmp/calls"), "-l /patch_qv/overlay/x\nend\n-l /x\nend\n-Z /patch_qv/overlay/x\nend\n-Z /x\nend\n");
}

TEST(NativeRun, ReturnsNullWithoutFiles) {
    fs::create_directories(OVERLAY + "/only/folders");
    fs::create_symlink("/etc/passwd", OVERLAY + "/link");
    fs::create_symlink("/etc", OVERLAY + "/only/linked");
    PlumeCapture capture;
    EXPECT_EQ(TestManager().CheckNativePatch(), R"("Native": "null")");
    EXPECT_EQ(capture.TakeFromBothLogs(), Records{NATIVE_BEGIN});
    fs::remove_all(OVERLAY);
    EXPECT_EQ(TestManager().CheckNativePatch(), R"("Native": "null")");
    EXPECT_EQ(capture.TakeFromBothLogs(),
              (Records{NATIVE_BEGIN, "E TraverseFile: open patch folder faild : /patch_qv/overlay"}));
}

TEST(NativeRun, ChecksADeepTreeWithFewDescriptorsAndLeaksNothing) {
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
    EXPECT_THAT(TestManager().CheckNativePatch(), HasSubstr(Tail("native", 10, 1)));
    EXPECT_EQ(OpenDescriptors(), before);
    EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1) << "a command was not waited for";
}

TEST(FileValues, AreTenCharactersOfTheModeAndTheFirstWordOfTheLabel) {
    TestManager manager;
    fs::create_directory("/tmp/empty");
    PlumeCapture capture(QuickFixPlumeLevel::DEBUG);
    EXPECT_EQ(manager.GetFileProp("/tmp/empty"), "total 0\n");
    EXPECT_EQ(manager.GetFileProp("/missing") + manager.GetFileSeLinux("/missing"), "");
    InstallCommand("ls", "echo drwxr-xr-x+; echo more");
    capture.Take();
    EXPECT_EQ(manager.GetFileProp("/x"), "drwxr-xr-x");
    EXPECT_EQ(manager.GetFileSeLinux("/x"), "drwxr-xr-x+\n");
    EXPECT_EQ(capture.TakeFromBothLogs(), (Records{"D GetFileProp: filePath: /x, Prop: drwxr-xr-x",
                                                   "D GetFileSeLinux: filePath: /x, Selinux: drwxr-xr-x+\n"}));
    InstallCommand("ls", "head -c 5000 /dev/zero | tr -c x l");
    EXPECT_EQ(manager.GetFileSeLinux("/x"), std::string(1023, 'l'));
    InstallCommand("ls", "head -c 5 /dev/zero; echo");
    EXPECT_EQ(manager.GetFileSeLinux("/x"), "") << "a zero byte ends the label";
    EXPECT_EQ(manager.GetViewFilePath(OVERLAY + "/a") + manager.GetViewFilePath(OVERLAY), "/a");
}

TEST(AppRun, ReportsEachFailure) {
    constexpr struct {
        const char *list, *dump, *verdict;
    } CASES[] = {
        {"com.example.app\n", "hqf: teklo.app.quickfix,\nversionCode: 7,\nversionCode: 1000001,\n", "true"},
        {"com.example.app\n", "hqf: teklo.app.quickfix,\nversionCode: 4294967295,\n", "true"},
        {"com.example.app\n", "hqf: teklo.app.quickfix,\nversionCode: 1000000,\nversion: 8",
         "false,RunTimes Version=1000000,PatchPakage Version=1000001"},
        {"com.example.app\n", "versionCode: 1000001,\n", "false,teklo.app.quickfix not exist"},
        {"com.example.other\n", "hqf: teklo.app.quickfix,\nversionCode: 1000001,\n", "false,miss"},
        {"com.example.other\n", "hqf: teklo.app.quickfix,\nversionCode: 1,\n",
         "false,miss,RunTimes Version=1,PatchPakage Version=1000001"},
    };
    InstallBundleTool();
    for (const auto& [list, dump, verdict] : CASES) {
        Write("/bm/list", list);
        Write("/bm/" + APP, dump);
        TestManager manager;
        manager.CheckAppPatchInit();
        manager.CheckAppPatch(APP, 1000001);
        EXPECT_EQ(manager.CheckAppPatchEnd(), ReportOfOneItem("qen", APP, verdict));
    }
}

TEST(AppRun, ChecksEachAppCallsTheListenerAndStartsAfresh) {
    InstallBundleTool();
    Write("/bm/list", APP + "\n");
    Write("/bm/" + APP, "hqf: teklo.app.quickfix,\nversionCode: 0,\n");
    std::vector<std::string> items;
    TestManager manager;
    manager.SetItemListener([&items](const ItemResult& result) { items.push_back(Summary(result)); });
    PlumeCapture capture;
    manager.CheckAppPatchInit();
    manager.CheckAppPatch("com.example.gone", 1000001);
    manager.CheckAppPatch(APP, 0);
    EXPECT_EQ(capture.TakeFromBothLogs(), Records{APPS_BEGIN});
    EXPECT_EQ(manager.CheckAppPatchEnd(),
              APPS +
                  R"("com.example.gone": "false,miss,teklo.app.quickfix not exist,RunTimes Version=0,)"
                  R"(PatchPakage Version=1000001","com.example.app": "true")" +
                  Tail("qen", 1, 1));
    EXPECT_THAT(items, testing::ElementsAre("com.example.gone failed Installed  yes PatchFlag  teklo.app.quickfix "
                                            "Version 0 1000001",
                                            APP + " passed"));
    EXPECT_EQ(Read("/bm/calls"),
              "dump -a\ndump -n com.example.gone\ndump -n com.example.gone\n"
              "dump -a\ndump -n com.example.app\ndump -n com.example.app\n");
    manager.CheckAppPatchInit();
    EXPECT_EQ(manager.CheckAppPatchEnd(), R"("Qen": "null")");
}

TEST(BundleToolOutput, IsSearchedForWordsInItsFirst512Bytes) {
    const std::string n(600, 'n');
    const struct {
        std::string list, bundle;
        bool isListed;
    } cases[] = {
        {"", APP, false},
        {APP + "\n", APP, true},
        {APP + "\n" + APP + "\n", APP, false},  // listed twice
        {APP + ".more\n", APP, true},           // grep -w ends a word at a dot
        {APP + "lication\n", APP, false},
        {"comXexampleXapp\n", APP, false},  // matches the pattern but is another name
        {"x " + APP + " y\n", APP, true},
        {n.substr(0, 511), n.substr(0, 511), true},  // 512 bytes with the line feed
        {n.substr(0, 511), std::string(511, 'N'), false},
        {n.substr(0, 512), n.substr(0, 512), true},
        {n.substr(0, 512), std::string(512, 'N'), false},
        {n, n, true},
    };
    InstallBundleTool();
    TestManager manager;
    for (const auto& [list, bundle, isListed] : cases) {
        Write("/bm/list", list);
        EXPECT_EQ(manager.AppIsExist(bundle), isListed) << bundle << " in " << list;
    }
    std::string flags;
    for (int i = 0; i < 40; ++i) {
        flags += "teklo.app.quickfix\n";
    }
    Write("/bm/" + APP, flags);
    EXPECT_TRUE(manager.PatchFlagIsExist(APP));
    unsigned int version = 5;
    EXPECT_FALSE(manager.CheckAppVersion(APP, 0, version));
    EXPECT_EQ(version, 5U) << "not changed without output";
    Write("/bm/" + APP, "versionCode: " + std::string(600, '0') + "9\n");
    EXPECT_TRUE(manager.CheckAppVersion(APP, 0, version));
    EXPECT_EQ(version, 0U) << "reads only 512 bytes, without the last digit";
}

TEST(BundleToolOutput, EndsAtAZeroByteAndCountsAsPresentFromOneByte) {
    InstallCommand("grep", "printf odd; head -c 1 /dev/zero; printf teklo.app.quickfix");
    PlumeCapture capture;
    EXPECT_FALSE(TestManager().PatchFlagIsExist(APP));
    EXPECT_EQ(capture.TakeFromBothLogs(), Records{"E PatchFlagIsExist: cmdString : odd"});
    InstallCommand("grep", "printf x");
    EXPECT_TRUE(TestManager().AppIsExist(APP));
}

}  // namespace
