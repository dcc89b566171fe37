#include "quick_fix_status_record.h"
#include "string_utils.h"
#include "support/fault_injector.h"
#include "support/test.h"
#include "test_manager.h"

namespace {

constexpr char TREE[] = "/tmp/tree";
constexpr char COPY[] = "/tmp/copy";
constexpr char NEW[] = "/tmp/new";
constexpr char LIVE_DIGEST[] = "I GetFileSHA256: filePath: /tmp/tree/a";

QuickFixStatusRecord& Status() {
    return QuickFixStatusRecord::GetInstance();
}

void InstallFiles() {
    for (const char* path : {TREE, COPY, NEW}) {
        fs::remove_all(path);
    }
    for (const char* path : {"/tmp/tree/a", "/tmp/tree/sub/b", "/patch_qv/overlay/tmp/tree/a"}) {
        Write(path, std::string(3000, 'c'));
    }
    Write("/tmp/status", "PatchVersion=1\nK=init\nErrorCode=3,\n");
    Write("/double/bm", "#!/bin/sh\n[ $2 = -a ] && echo app || printf 'teklo.app.quickfix\\nversionCode 7\\n'\n");
    fs::permissions("/double/bm", fs::perms(0755));
    setenv("PATH", "/double:/usr/bin", 1);
    Logger().RemoveLog();
    Write(FIRST_LOG, "oldest\n");
    Write(SECOND_LOG, std::string(65535, 'x') + "\n");
    Status().InitStatusRecord("/tmp/status", "K");
}

void InstallDifference() {
    InstallFiles();
    Write("/tmp/tree/a", std::string(2999, 'c') + "d");
}

void InstallPartialRecord() {
    InstallFiles();
    Write(SECOND_LOG, std::string(4075, 'x') + "\n2026-03-01 09:05:07.");
}

/// Shortens each run of more than 20 equal characters, for example 3000 times "c" to "c{3000}".
std::string Abbreviate(const std::string& text) {
    std::string brief;
    for (size_t at = 0; at < text.size();) {
        const size_t count = std::min(text.find_first_not_of(text[at], at), text.size()) - at;
        brief += count > 20 ? std::string(1, text[at]) + "{" + std::to_string(count) + "}" : text.substr(at, count);
        at += count;
    }
    return brief;
}

std::string Text(bool result) {
    return result ? "true" : "false";
}

std::string StatusInFile() {
    const QuickFixStatus status = Status().GetStatusFromFile();
    return status.version + "|" + status.status + "|" + status.errorCode;
}

template <Inspection INSPECTION>
std::string CheckNativePatch() {
    TestManager manager;
    manager.SetInspection(INSPECTION);
    const std::string fragment = manager.CheckNativePatch();
    return fragment.substr(fragment.rfind('{') + 1) +
           " inconclusive: " + std::to_string(manager.GetInconclusiveCount());
}

std::string CheckAppPatch() {
    TestManager manager;
    manager.CheckAppPatchInit();
    manager.CheckAppPatch("app", 7);
    const std::string fragment = manager.CheckAppPatchEnd();
    return fragment.substr(fragment.rfind('{') + 1);
}

std::string GetDirSize() try {
    return std::to_string(FileUtils::GetDirSize("/tmp/tree"));
} catch (const fs::filesystem_error&) {
    return "throws";
}

std::string OutputLog() {
    Logger().OutputLog("marker", "f", "g", 1);
    return "";
}

// These functions return the state after an operation.

std::string NoState() {
    return "";
}

std::string Logs() {
    return Abbreviate(ReadLog(FIRST_LOG)) + " | " + Abbreviate(ReadLog(SECOND_LOG));
}

std::string NewFile() {
    return Abbreviate(Read("/tmp/new"));
}

template <const char* PATH>
std::string Entries() {
    return fs::exists(PATH) ? std::to_string(std::distance(fs::directory_iterator(PATH), {})) : "none";
}

std::string CopiedTree() {
    return Entries<COPY>() + " " + Abbreviate(Read("/tmp/copy/sub/b"));
}

/// A call of the library on the installed files.
struct Operation {
    const char* name = "";
    std::string (*call)() = nullptr;
    std::string (*inspect)() = NoState;  // returns the state after the call; runs without faults
    const char* outcomes = "";           // matches the results of `call` and `inspect`, whichever C library call fails
    void (*install)() = InstallFiles;
};

const Operation OPERATIONS[] = {
    {"GetFileSHA256", [] { return FileUtils::GetFileSHA256("/tmp/tree/a"); }, NoState, "([0-9a-f]{64})? "},
    {"GetFileSize", [] { return std::to_string(FileUtils::GetFileSize("/tmp/tree/a", {})); }, NoState, "(3000|-1) "},
    {"GetDirSize", GetDirSize, NoState, "(5|0|throws) "},
    {"GetDiskFreeSpace", [] { return std::to_string(std::min(FileUtils::GetDiskFreeSpace("/tmp"), 1)); }, NoState,
     "(1|-1) "},
    {"CleanDir", [] { return Text(FileUtils::CleanDir(TREE, true)); }, Entries<TREE>, "true (none|[012])|false [012]"},
    {"MakeDir", [] { return Text(FileUtils::MakeDir(NEW, 0700)); }, Entries<NEW>, "true 0|false none"},
    {"MakeFile", [] { return Text(FileUtils::MakeFile(NEW, std::string(3000, 'c'))); }, NewFile,
     "true (c.3000.)?|false "},
    {"RenameFile", [] { return Text(FileUtils::RenameFile("/tmp/tree/a", NEW)); }, NewFile, "true c.3000.|false "},
    {"CopyFile", [] { return Text(FileUtils::CopyFile("/tmp/tree/a", NEW)); }, NewFile, "true c.3000.|false .*"},
    {"CopyDir", [] { return Text(FileUtils::CopyDir("/tmp/tree/", "/tmp/copy/")); }, CopiedTree,
     "true 2 c.3000.|false .*"},
    {"ReadLines", [] { return std::to_string(FileUtils::ReadLines("/tmp/tree/a").size()); }, NoState, "[01] "},
    {"GetFileStream", [] { return Abbreviate(FileUtils::GetFileStream("/tmp/tree/a")); }, NoState, "(c.3000.)? "},
    {"GetKeyCmdlineStr", [] { return StringUtils::GetKeyCmdlineStr("quickfix"); }, NoState, "(quickfix=1\n)? "},
    {"SetStatus", [] { return Status().SetStatus("2", "loaded", ""), NoState(); }, StatusInFile,
     " (2.loaded.|2..|..|1.init.3,)"},
    {"GetStatusFromFile", StatusInFile, NoState, "(1.init.3,|..) "},
    {"OutputLog", OutputLog, Logs, " (oldest\n)?(x.65535.\n)? \\| (x.65535.\n)?(TIME.f.g.:1.marker\n)?"},
    {"OutputLog after a kill", OutputLog, Logs,
     " oldest\n(TIME.f.g.:1.marker\n)? \\| x.4075.\n(2026-03-01 09:05:07.)?(TIME.f.g.:1.marker\n)?",
     InstallPartialRecord},
    {"CheckNativePatch", CheckNativePatch<Inspection::SHELL>, NoState,
     R"re(("/tmp/tree/a": "(true|false,source:[^}]*)"\},[^}]*\}|"Native": "null") inconclusive: [0-3] )re"},
    {"CheckNativePatch directly", CheckNativePatch<Inspection::DIRECT>, NoState,
     R"re(("/tmp/tree/a": ("true".* inconclusive: 0|"false,source:.* inconclusive: [1-3])|"Native".*: 0) )re"},
    {"CheckNativePatch of a difference", CheckNativePatch<Inspection::DIRECT>, NoState,
     R"re(("/tmp/tree/a": "false,source:.* inconclusive: [0-3]|"Native": "null" inconclusive: 0) )re",
     InstallDifference},
    {"CheckAppPatch", CheckAppPatch, NoState, R"re("app": "(true|false,[^}]*)"\},[^}]*\} )re"},
};

/// Returns the result of the operation and the state after it.
std::string Perform(const Operation& operation) {
    const std::string result = operation.call();
    FaultInjector::End();
    return result + " " + operation.inspect();
}

/// Runs the operation once for each of its calls of the function `call`, with only that call failing. Checks each
/// outcome, and returns the number of calls that failed.
int Sweep(const Operation& operation, const char* call, int error) {
    operation.install();
    const std::string clean = Perform(operation);
    const std::regex outcomes(operation.outcomes);
    int failed = 0;
    for (bool reached = true; reached; failed += reached ? 1 : 0) {
        SCOPED_TRACE(std::string(operation.name) + ", " + call + " " + std::to_string(failed + 1) + ": " +
                     strerror(error));
        operation.install();
        const long before = OpenDescriptors();
        FaultInjector::Fail(call, failed + 1, 1, error);
        const std::string outcome = Perform(operation);
        reached = FaultInjector::End();
        Logger().RemoveLog();
        EXPECT_TRUE(std::regex_match(outcome, outcomes)) << outcome;
        EXPECT_TRUE((error != EINTR && error != ENOSYS) || outcome == clean) << outcome;
        EXPECT_LE(OpenDescriptors(), before);
        EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1) << "a command was not waited for";
    }
    operation.install();
    EXPECT_EQ(Perform(operation), clean) << operation.name << " after a failing " << call;
    return failed;
}

TEST(Faults, EachFailingCallGivesAListedOutcomeAndLeaksNothing) {
    const std::pair<const char*, int> faults[] = {
        {"chmod", EPERM}, {"chown", EPERM}, {"fdopen", ENOMEM},  {"fgetxattr", EIO}, {"fopen", EMFILE},
        {"fread", EIO},   {"fread", EINTR}, {"fstat", EIO},      {"lstat", EIO},     {"mkdir", ENOSPC},
        {"open", EMFILE}, {"opendir", EIO}, {"openat2", ENOSYS}, {"popen", EAGAIN},  {"pread", EIO},
        {"read", EIO},    {"read", EINTR},  {"readdir", EIO},    {"realpath", EIO},  {"remove", EROFS},
        {"rename", EIO},  {"stat", EIO},    {"statfs", EIO},     {"write", ENOSPC},  {"write", EINTR},
    };
    for (const auto& [call, error] : faults) {
        int failed = 0;
        for (const Operation& operation : OPERATIONS) {
            failed += Sweep(operation, call, error);
        }
        EXPECT_GT(failed, 0) << "no operation calls " << call;
    }
}

/// Runs the operation `name` while the calls `first` to `first + count - 1` of the function `call` fail. Checks its
/// result, the state afterwards and the platform records.
void ExpectOutcome(const std::string& name, const char* call, int first, int count, int error,
                   const std::string& outcome, const Records& records = {}) {
    SCOPED_TRACE(name + " with a failing " + call);
    const auto operation =
        std::find_if(std::begin(OPERATIONS), std::end(OPERATIONS), [&](const auto& o) { return o.name == name; });
    ASSERT_NE(operation, std::end(OPERATIONS));
    operation->install();
    PlumeCapture capture;
    FaultInjector::Fail(call, first, count, error);
    const std::string result = operation->call();
    EXPECT_TRUE(FaultInjector::End()) << "no call failed";
    EXPECT_EQ(capture.Take(), records);
    EXPECT_EQ(result + " " + operation->inspect(), outcome);
}

TEST(Faults, InFileCallsGiveExactResultsAndRecords) {
    const std::string readError = "E CopyDir: readdir failed, path: /tmp/tree/, err: Input/output error";
    ExpectOutcome("GetFileSHA256", "fread", 3, 1, EIO,
                  "71899db2707c5d7dc62d01bcf923431418374e9fb42a3fcb6d83e5cc017c2173 ", {LIVE_DIGEST});
    ExpectOutcome("GetFileSHA256", "sprintf_s", 3, 2, EINVAL, "0828 ",
                  {LIVE_DIGEST, "E GetFileSHA256: sprintf_s error"});
    ExpectOutcome("GetFileSize", "stat", 1, 1, EIO, "-1 ", {"E GetFileSize: get file stat failed"});
    ExpectOutcome("GetDirSize", "stat", 1, 1, EIO, "0 ", {"E GetDirSize: invalid path"});
    ExpectOutcome("GetDirSize", "stat", 2, 1, ENOENT, "throws ");
    ExpectOutcome("GetDiskFreeSpace", "statfs", 1, 1, EIO, "-1 ",
                  {"I GetDiskFreeSpace: Util GetDiskFreeSpace disk free: -1 kb"});
    ExpectOutcome("CleanDir", "opendir", 1, 1, EMFILE, "false 2");
    ExpectOutcome("CleanDir", "opendir", 2, 1, EMFILE, "true 1");
    ExpectOutcome("CleanDir", "readdir", 5, 1, EIO, "false 0",
                  {"E CleanDir: readdir failed, path: /tmp/tree, err: Input/output error"});
    ExpectOutcome("CleanDir", "remove", 1, 99, EROFS, "true 2");
    ExpectOutcome("MakeFile", "write", 1, 99, ENOSPC, "true ");
    ExpectOutcome("CopyDir", "readdir", 1, 1, EIO, "false none ", {readError});
    ExpectOutcome("CopyDir", "readdir", 5, 1, EIO, "false 2 c{3000}", {readError});
}

TEST(Faults, InTheLogGiveExactResultsAndRecords) {
    ExpectOutcome("OutputLog", "stat", 1, 1, EIO, " oldest\n | x{65535}\n",
                  {"E ChangeFileForOverSize: get last log file stat fail", "E OutputLog: ChangeFileForOverSize fail"});
    ExpectOutcome("OutputLog", "rename", 1, 1, EIO, "  | TIME[f(g):1]marker\n",
                  {"E RenameFile: rename failed: /data/update/quickfix/log/quickfix_1.log"});
    ExpectOutcome("OutputLog", "fopen", 2, 99, EMFILE, " x{65535}\n | ",
                  {"E CreateLogFile: CreateLogFile /data/update/quickfix/log/quickfix_2.log fail",
                   "E OutputLog: ChangeFileForOverSize fail"});
    ExpectOutcome("OutputLog", "sprintf_s", 1, 1, EINVAL, " x{65535}\n | ",
                  {"E GetFormatTime: GetFormatTime error, ret : -1"});
}

TEST(Faults, InVerificationGiveExactResultsAndRecords) {
    const std::string begin = "I CheckNativePatch: Check Native Patch Begin";
    const std::string patchDigest = "I GetFileSHA256: filePath: /patch_qv/overlay/tmp/tree/a";
    const std::string failure = "E GetFileProp: Failed to run the command";
    const std::string passed = R"("/tmp/tree/a": "true"},"test_native_result": "true","total": "1","success": "1",)"
                               R"("failed": "0"} inconclusive: )";
    ExpectOutcome("CheckNativePatch", "readdir", 4, 1, EIO, passed + "0 ",
                  {begin, patchDigest, LIVE_DIGEST, "E TraverseFile: read patch folder failed : /patch_qv/overlay"});
    ExpectOutcome("CheckNativePatch", "popen", 1, 2, EAGAIN, passed + "1 ",
                  {begin, patchDigest, LIVE_DIGEST, failure, failure});
    ExpectOutcome("CheckNativePatch", "popen", 1, 1, EAGAIN,
                  R"("/tmp/tree/a": "false,source:RWX=-rw-r--r--.patch_qv:RWX=."},"test_native_result": "false",)"
                  R"("total": "1","success": "0","failed": "1"} inconclusive: 1 )",
                  {begin, patchDigest, LIVE_DIGEST, failure});
    const std::string unread = R"("/tmp/tree/a": "false,source:SHA256=.patch_qv:SHA256=."},"test_native_result": )"
                               R"("false","total": "1","success": "0","failed": "1"} inconclusive: 1 )";
    const std::string cut = "E GetFileSHA256: sprintf_s error";
    const auto error = [](std::string record) {
        return record.replace(0, 1, "E") + ", errorMessage:Input/output error";
    };
    ExpectOutcome("CheckNativePatch directly", "open", 1, 3, EINTR, passed + "0 ", {begin, patchDigest, LIVE_DIGEST});
    ExpectOutcome("CheckNativePatch of a difference", "sprintf_s", 3, 2, EINVAL, unread,
                  {begin, patchDigest, cut, LIVE_DIGEST, cut});
    ExpectOutcome("CheckNativePatch of a difference", "fread", 1, 2, EIO, unread, {begin, patchDigest, LIVE_DIGEST});
    ExpectOutcome("CheckNativePatch directly", "fstat", 2, 2, EIO, unread,
                  {begin, patchDigest, error(patchDigest), LIVE_DIGEST, error(LIVE_DIGEST)});
    ExpectOutcome("CheckAppPatch", "popen", 1, 99, EAGAIN,
                  R"("app": "false,miss,teklo.app.quickfix not exist,RunTimes Version=0,PatchPakage Version=7"},)"
                  R"("test_qen_result": "false","total": "1","success": "0","failed": "1"} )",
                  {"I CheckAppPatchInit: Check Qen Patch Begin", "E AppIsExist: Failed to run the command",
                   "E PatchFlagIsExist: Failed to run the command", "E CheckAppVersion: Failed to run the command"});
}

int g_reads = 0;

TEST(Faults, CopyFileOfAGrowingFileStopsAtTheFirstEnd) {
    Write("/tmp/source", "x");
    // The second read reports the end of the file. A third read would return the bytes that were added since.
    FaultInjector::Watch("read", [] {
        if (++g_reads > 2) {
            std::ofstream("/tmp/source", std::ios::app) << "grown";
        }
    });
    EXPECT_TRUE(FileUtils::CopyFile("/tmp/source", "/tmp/dest"));
    FaultInjector::End();
    EXPECT_EQ(g_reads, 2);
    EXPECT_EQ(Read("/tmp/dest"), "x");
}

std::atomic<int> g_interruptions{0};

/// Interrupts the calls of the process every `interval` microseconds; 0 stops the timer.
void SetInterruptions(suseconds_t interval) {
    const itimerval timer = {{0, interval}, {0, interval}};
    setitimer(ITIMER_REAL, &timer, nullptr);
}

TEST(Faults, SignalsDoNotChangeTheResult) {
    struct sigaction action = {};  // without SA_RESTART
    action.sa_handler = [](int) { ++g_interruptions; };
    sigaction(SIGALRM, &action, nullptr);
    for (const Operation& operation : OPERATIONS) {
        operation.install();
        const std::string clean = Perform(operation);
        for (int round = 0; round < 10; ++round) {
            operation.install();
            SetInterruptions(900);
            EXPECT_EQ(Perform(operation), clean) << operation.name;
            SetInterruptions(0);
        }
    }
    EXPECT_GT(g_interruptions, 100);
}

TEST(Faults, WalksContinueWhenFilesVanish) {
    for (const Operation& operation : OPERATIONS) {
        operation.install();
        const long before = OpenDescriptors();
        std::atomic<bool> ended{false};
        std::thread other([&ended] {
            std::error_code ignored;
            for (int i = 0; !ended; ++i) {
                const std::string path = TREE + ("/" + std::to_string(i % 50));
                fs::create_directory(path, ignored);
                std::ofstream(path + "/file") << "text";
                fs::copy_file("/tmp/status", "/patch_qv/overlay/tmp/tree/b", ignored);
                fs::remove_all(TREE + ("/" + std::to_string((i + 25) % 50)), ignored);
                fs::remove("/patch_qv/overlay/tmp/tree/b", ignored);
            }
        });
        for (int round = 0; round < 20; ++round) {
            operation.call();
        }
        ended = true;
        other.join();
        operation.install();
        EXPECT_LE(OpenDescriptors(), before) << operation.name;
        EXPECT_TRUE(std::regex_match(Perform(operation), std::regex(operation.outcomes))) << operation.name;
    }
}

}  // namespace
