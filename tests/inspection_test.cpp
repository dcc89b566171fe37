#include <sys/sysmacros.h>

#include "support/fault_injector.h"
#include "support/native_run.h"

namespace {

const std::string OVERLAY = PATCH_OVERLAY_PATH;

TEST(DirectInspection, FormatsModesAndTypesLikeLs) {
    for (unsigned int mode = 0; mode <= 07777; ++mode) {
        Install("/modes/" + std::to_string(mode), "", mode);
    }
    fs::create_directory("/modes/d");
    fs::create_symlink("target", "/modes/l");
    mkfifo("/modes/p", 0640);
    mknod("/modes/s", S_IFSOCK | 0604, 0);
    const bool hasBlockDevice = mknod("/modes/b", S_IFBLK | 0604, makedev(7, 0)) == 0;  // needs root
    TestManager manager;
    manager.SetInspection(Inspection::DIRECT);
    const std::unique_ptr<FILE, int (*)(FILE*)> listing(popen("ls -ld /dev/null /modes/?*", "r"), pclose);
    int lines = 0;
    for (char buffer[256]; fgets(buffer, sizeof(buffer), listing.get()) != nullptr; ++lines) {
        const std::string line = buffer;
        const size_t path = line.find(" /") + 1;
        EXPECT_EQ(manager.GetFileProp(line.substr(path, line.find_first_of(" \n", path) - path)), line.substr(0, 10));
    }
    EXPECT_EQ(lines, 4096 + 5 + (hasBlockDevice ? 1 : 0));
}

TEST(DirectInspection, FormatsLabelsLikeLs) {
    if (!CanSetLabels()) {
        GTEST_SKIP() << "setting a label needs root";
    }
    using namespace std::string_literals;
    Records labels = {"", "\0"s, "a", "a\0"s, "a b", " a", "\n", "a\nb", "a\n b", "a\0b"s, "\xff\t"};
    for (const size_t length : std::vector<size_t>{254, 255, 256, 257, 1022, 1023, 1024, 5000, 65535}) {
        labels.push_back(std::string(length, 'l') + '\0');
        labels.emplace_back(length, 'l');
    }
    std::mt19937 random(11);
    for (int i = 0; i < 100; ++i) {
        labels.emplace_back(random() % 1100, '\0');
        std::generate(labels.back().begin(), labels.back().end(), [&random] { return static_cast<char>(random()); });
    }
    Write("/x", "");
    TestManager shell;
    TestManager direct;
    direct.SetInspection(Inspection::DIRECT);
    for (const std::string& label : labels) {
        if (setxattr("/x", "security.selinux", label.data(), label.size(), 0) != 0) {
            ASSERT_GT(label.size(), 2048U) << "ext4 has no room for longer ones";
            continue;
        }
        EXPECT_EQ(direct.GetFileSeLinux("/x"), shell.GetFileSeLinux("/x")) << testing::PrintToString(label);
    }
}

int g_calls = 0;

TEST(DirectInspection, AcceptsAnyNameOpensEachFileOnceAndStartsNoProcess) {
    Records names = {"-l", "--help", "a b", ";touch pwned", "$(touch pwned)", "..."};
    for (int byte = 1; byte <= 255; ++byte) {
        const std::string text(1, static_cast<char>(byte));
        if (text != "/") {
            names.insert(names.end(), {"m" + text + "m", text == "." ? "-." : text});
        }
    }
    std::multiset<std::string> expected;
    for (size_t i = 0; i < names.size(); ++i) {
        const std::string path = "/names/" + names[i];
        Install(OVERLAY + path, "patch");
        Install(path, "patch", i % 3 == 0 ? 0600 : 0644);
        expected.insert(path + (i % 3 == 0 ? " failed RWX -rw------- -rw-r--r--" : " passed"));
    }
    setenv("PATH", "/nowhere", 1);
    const int files = 2 * static_cast<int>(names.size());
    for (const auto& [call, count] : {std::pair("popen", 0), std::pair("open", files)}) {
        g_calls = 0;
        FaultInjector::Watch(call, [] { ++g_calls; });
        const NativeRun run(Inspection::DIRECT);
        FaultInjector::End();
        EXPECT_EQ(g_calls, count) << call;
        EXPECT_EQ(std::multiset<std::string>(run.items.begin(), run.items.end()), expected);
    }
    rusage children = {};
    getrusage(RUSAGE_CHILDREN, &children);
    EXPECT_EQ(children.ru_minflt, 0) << "a process ran";
}

/// Returns the only item of a run without its path (digests replaced by "#"), the first error message, and the
/// inconclusive count.
std::string Outcome(const NativeRun& run) {
    const std::regex error("errorMessage:(.*)");
    const std::string item = std::regex_replace(run.items.at(0), std::regex("[0-9a-f]{64}"), "#");
    std::smatch found;
    (void)std::regex_search(run.reportAndLogs, found, error);
    return item.substr(item.find(' ') + 1) + "; " + found.str(1) + "; " + std::to_string(run.inconclusive);
}

void BecomeOrdinaryUser() {
    (void)!seteuid(65534);
}

NativeRun RunAfter(const std::function<void()>& install) {
    fs::remove_all("/t");
    fs::create_directory("/t");
    Install(OVERLAY + "/t/x", "patch");
    install();
    NativeRun run(Inspection::DIRECT);
    (void)!seteuid(getuid());
    chmod("/t/closed", 0700);
    for (const auto& entry : fs::directory_iterator(OVERLAY)) {
        fs::remove_all(entry);
    }
    return run;
}

TEST(DirectInspection, PassesOnlyRegularFilesThatItCanRead) {
    const std::string patch = OVERLAY + "/t/x";
    const std::string closed = "/t/closed/x";
    const std::string absent = "failed SHA256  # RWX  -rw-r--r-- SeLinux  ?; ; 0";
    const auto type = [](const std::string& mode) { return "failed SHA256  # RWX " + mode + " -rw-r--r--; "; };
    const std::string link = type("lrwxrwxrwx") + "Too many levels of symbolic links; 0";
    const std::string denied = "Permission denied; 1";
    const struct {
        std::function<void()> install;
        std::string outcome;
    } cases[] = {
        {[] {}, absent},
        {[&] { Install(OVERLAY + "/t/f/x", ""), Install("/t/f", ""), fs::remove(patch); }, absent},
        {[] { fs::create_directory("/t/x"); }, type("drwxr-xr-x") + "Is a directory; 0"},
        {[&] { fs::create_symlink(patch, "/t/x"); }, link},
        {[] { fs::create_symlink("none", "/t/x"); }, link},
        {[] { fs::create_symlink("x", "/t/x"); }, link},
        {[] { mknod("/t/x", S_IFSOCK | 0644, 0); }, type("srw-r--r--") + "Invalid argument; 0"},
        {[] { mknod("/t/x", S_IFIFO | 0644, 0); }, type("prw-r--r--") + "Invalid argument; 0"},
        {[&] { Install(OVERLAY + "/dev/null", ""), fs::remove(patch); }, type("crw-rw-rw-") + "Invalid argument; 0"},
        // A read at the start of /proc/self/mem fails, as on a broken disk.
        {[&] { Install(OVERLAY + "/proc/self/mem", "", 0600), fs::remove(patch); }, "inconclusive SHA256?  #; ; 1"},
        {[] { Install("/t/x", "", 0), BecomeOrdinaryUser(); },
         "inconclusive SHA256?  # RWX ---------- -rw-r--r--; " + denied},
        {[&] { Install("/t/x", "", 0), Install(patch, "x", 0), BecomeOrdinaryUser(); },
         "inconclusive SHA256?  ; " + denied},
        {[&] {
             Install(OVERLAY + closed, ""), Install(closed, ""), fs::remove(patch);
             chmod("/t/closed", 0), BecomeOrdinaryUser();
         },
         "inconclusive SHA256?  # RWX?  -rw-r--r-- SeLinux?  ?; ; 3"},
    };
    for (const auto& test : cases) {
        const NativeRun run = RunAfter(test.install);
        EXPECT_EQ(Outcome(run), test.outcome);
        EXPECT_THAT(run.reportAndLogs, testing::HasSubstr(R"("success": "0","failed": "1")"));
    }
}

TEST(DirectInspection, FilesWithoutADigestNeverPass) {
    fs::create_symlink("one", "/x");
    fs::create_directories(OVERLAY);
    fs::create_symlink("two", OVERLAY + "/x");
    TestManager manager;
    manager.SetInspection(Inspection::DIRECT);
    std::vector<ItemResult> items;
    manager.SetItemListener([&items](const ItemResult& item) { items.push_back(item); });
    manager.CheckAppPatchInit();
    manager.VerifyPatch(OVERLAY + "/x");
    manager.VerifyPatch(OVERLAY + "/missing");
    EXPECT_THAT(manager.CheckAppPatchEnd(), testing::HasSubstr(R"("success": "0","failed": "2")"));
    EXPECT_TRUE(items[0].verdict == Verdict::INCONCLUSIVE && items[1].verdict == Verdict::INCONCLUSIVE);
}

TEST(DirectInspection, KeepsNoStateBetweenCalls) {
    Install("/x", "content");
    Install(OVERLAY + "/x", "content");
    TestManager manager;
    manager.SetInspection(Inspection::DIRECT);
    manager.CheckAppPatchInit();
    FaultInjector::Fail("lstat", 1, 1, EIO);
    EXPECT_EQ(manager.GetFileProp("/x"), "");
    EXPECT_TRUE(FaultInjector::End());
    manager.VerifyPatchProp("/x", "/x");
    EXPECT_EQ(manager.GetInconclusiveCount(), 0U);
    manager.DoVerifyFile("/x", "/x");
    manager.VerifyPatch(OVERLAY + "/x");
    EXPECT_THAT(manager.CheckAppPatchEnd(), testing::HasSubstr(R"(_result": "true","total": "1")"));
}

}  // namespace
