#include <cjson/cJSON.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <functional>
#include <map>
#include <regex>
#include <thread>

#include "file_utils.h"
#include "json_tool.h"
#include "platform/singleton.h"
#include "quick_fix_log.h"
#include "quick_fix_status_record.h"
#include "string_utils.h"
#include "support/fault_injector.h"
#include "support/files.h"
#include "support/limits.h"
#include "support/plume_capture.h"
#include "test_manager.h"

namespace fs = std::filesystem;
using namespace TEKLO::QuickFixEngine;

namespace {

const std::string CONTENT(3000, 'c');
constexpr char STATUS_FILE[] = "/tmp/status";

QuickFixLogger& Logger() {
    return *TEKLO::DelayedSingleton<QuickFixLogger>::GetInstance();
}

void InstallFiles() {
    for (const char* path : {"/tmp/tree", "/tmp/copy", "/tmp/new"}) {
        fs::remove_all(path);
    }
    for (const char* path : {"/tmp/tree/a", "/tmp/tree/sub/b", "/patch_qv/overlay/tmp/tree/a"}) {
        Write(path, CONTENT);
    }
    Write("/tmp/json", R"({"a": 7})");
    Write(STATUS_FILE, "PatchVersion=1\nK=init\nErrorCode=3,\n");
    Write("/double/bm", "#!/bin/sh\n[ $2 = -a ] && echo app || printf 'teklo.app.quickfix\\nversionCode 7\\n'\n");
    fs::permissions("/double/bm", fs::perms(0755));
    setenv("PATH", "/double:/usr/bin", 1);
    Logger().RemoveLog();
    Write(FIRST_LOG, "oldest\n");
    Write(SECOND_LOG, std::string(65535, 'x') + "\n");
    QuickFixStatusRecord::GetInstance().InitStatusRecord(STATUS_FILE, "K");
}

/// What an operation left in a file, read when no call fails any more.
std::string Left(const std::string& path) {
    FaultInjector::End();
    return Read(path);
}

std::string Done(bool result, const std::string& path) {
    return std::string(result ? "true " : "false ") + std::to_string(Left(path).size());
}

std::string SizeOfDirectory() {
    try {
        return std::to_string(FileUtils::GetDirSize("/tmp/tree"));
    } catch (const fs::filesystem_error&) {
        return "throws";
    }
}

std::string StatusOf(const QuickFixStatus& status) {
    return status.version + "|" + status.status + "|" + status.errorCode;
}

std::string SetStatus() {
    QuickFixStatusRecord::GetInstance().SetStatus("2", "loaded", "");
    FaultInjector::End();
    return StatusOf(QuickFixStatusRecord::GetInstance().GetStatusFromFile());
}

/// The entries of a fragment; the fragment itself when it has none.
std::string Entries(const std::string& fragment) {
    const size_t start = fragment.rfind(": {");
    return start == std::string::npos ? fragment : fragment.substr(start + 3, fragment.find('}') - start - 3);
}

std::string Verify() {
    TestManager manager;
    const std::string entries = Entries(manager.CheckNativePatch());
    return entries + " " + std::to_string(manager.GetUnprovenCount());
}

std::string VerifyApp() {
    TestManager manager;
    manager.CheckAppPatchInit();
    manager.CheckAppPatch("app", 7);
    return Entries(manager.CheckAppPatchEnd());
}

/// What is found of a record behind a rotation.
std::string Log() {
    Logger().OutputLog("marker", "f", "g", 1);
    const std::string log = Left(FIRST_LOG) + Left(SECOND_LOG);
    EXPECT_TRUE(log.empty() || log.back() == '\n') << "a torn line";
    return (log.find("oldest") == std::string::npos ? "" : "oldest ") +
           std::string(log.find("xx") == std::string::npos ? "" : "old ") +
           (log.find("[f(g):1]marker\n") == std::string::npos ? "" : "marker");
}

std::string ReadJson() {
    cJSON* json = JsonTool::ParseJsonFromFile("/tmp/json");
    const int value = JsonTool::GetInt(json, "a", -1);
    cJSON_Delete(json);
    return std::to_string(value);
}

struct Operation {
    std::function<std::string()> run;
    std::string outcomes;  // all that may come of it, whichever call fails
};

const std::map<std::string, Operation> OPERATIONS = {
    {"digest", {[] { return FileUtils::GetFileSHA256("/tmp/tree/a"); }, "([0-9a-f]{64})?"}},
    {"size", {[] { return std::to_string(FileUtils::GetFileSize("/tmp/tree/a", FileSizeUnit::BYTE)); }, "3000|-1"}},
    {"folder's size", {SizeOfDirectory, "5|0|throws"}},
    {"free space", {[] { return FileUtils::GetDiskFreeSpace("/tmp") > 0 ? "some" : "none"; }, "some|none"}},
    {"clean", {[] { return Done(FileUtils::CleanDir("/tmp/tree", true), "/tmp/tree/a"); }, "true (0|3000)|false 3000"}},
    {"make folder", {[] { return Done(FileUtils::MakeDir("/tmp/new", 0700), ""); }, "true 0|false 0"}},
    {"make file", {[] { return Done(FileUtils::MakeFile("/tmp/new", CONTENT), "/tmp/new"); }, "true (3000|0)|false 0"}},
    {"rename",
     {[] { return Done(FileUtils::RenameFile("/tmp/tree/a", "/tmp/new"), "/tmp/new"); }, "true 3000|false 0"}},
    {"copy file",
     {[] { return Done(FileUtils::CopyFile("/tmp/tree/a", "/tmp/new"), "/tmp/new"); }, "true 3000|false .*"}},
    {"copy folder",
     {[] { return Done(FileUtils::CopyDir("/tmp/tree/", "/tmp/copy/"), "/tmp/copy/sub/b"); }, "true 3000|false .*"}},
    {"lines", {[] { return std::to_string(FileUtils::ReadLines("/tmp/tree/a").size()); }, "1|0"}},
    {"stream", {[] { return std::to_string(FileUtils::GetFileStream("/tmp/tree/a").size()); }, "3000|0"}},
    {"json", {ReadJson, "7|-1"}},
    {"command line", {[] { return StringUtils::GetKeyCmdlineStr("quickfix"); }, "(quickfix=1\n)?"}},
    {"set status", {SetStatus, "2.loaded.|2..|..|1.init.3,"}},
    {"get status", {[] { return StatusOf(QuickFixStatusRecord::GetInstance().GetStatusFromFile()); }, "1.init.3,|.."}},
    {"log", {Log, "old marker|(oldest )?(old )?(marker)?"}},
    {"verify", {Verify, R"re("/tmp/tree/a": "(true|false,source:.*)" 0|"Native": "null" 0)re"}},
    {"verify app", {VerifyApp, R"re("app": "(true|false,.*)")re"}},
};

TEST(Faults, WhateverCallFailsTheOutcomeIsAKnownOneAndNothingIsLeftBehind) {
    const std::pair<const char*, std::vector<int>> calls[] = {
        {"chmod", {EPERM}},          {"chown", {EPERM}},   {"fopen64", {EMFILE}}, {"fread", {EIO}},
        {"mkdir", {ENOSPC}},         {"opendir", {EIO}},   {"popen", {EAGAIN}},   {"read", {EIO, EINTR}},
        {"readdir", {EIO}},          {"readdir64", {EIO}}, {"realpath", {EIO}},   {"remove", {EROFS}},
        {"rename", {EIO}},           {"stat64", {EIO}},    {"statfs64", {EIO}},   {"write", {ENOSPC, EINTR}},
        {"writev", {ENOSPC, EINTR}},
    };
    std::map<std::string, int> failed;
    for (const auto& [name, operation] : OPERATIONS) {
        InstallFiles();
        const std::string clean = operation.run();
        const std::regex outcomes(operation.outcomes);
        for (const auto& [call, errors] : calls) {
            for (const int error : errors) {
                bool reached = true;
                for (int number = 1; reached; ++number) {
                    SCOPED_TRACE(name + ", " + call + " " + std::to_string(number) + ": " + strerror(error));
                    InstallFiles();
                    PlumeCapture capture;
                    const long before = OpenDescriptors();
                    FaultInjector::Fail(call, number, 1, error);
                    const std::string outcome = operation.run();
                    reached = FaultInjector::End();
                    failed[call] += reached ? 1 : 0;
                    Logger().RemoveLog();
                    EXPECT_TRUE(std::regex_match(outcome, outcomes)) << outcome;
                    EXPECT_TRUE(error != EINTR || outcome == clean) << outcome;
                    EXPECT_LE(OpenDescriptors(), before);
                    EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1) << "a command was not waited for";
                }
                InstallFiles();
                EXPECT_EQ(operation.run(), clean) << name << " behind a failing " << call;
            }
        }
    }
    for (const auto& [call, errors] : calls) {
        EXPECT_GT(failed[call], 0) << "no operation calls " << call;
    }
}

int ErrorNumber(const std::string& name) {
    int error = 1;
    while (strerrorname_np(error) == nullptr || name != strerrorname_np(error)) {
        ++error;
    }
    return error;
}

TEST(Faults, OutcomeAndRecordsOfEach) {
    std::ifstream table(TEST_DATA "/faults.txt");
    std::string row;
    int rows = 0;
    for (std::getline(table, row); std::getline(table, row); ++rows) {
        SCOPED_TRACE(row);
        static const std::regex shape("([^;]+); (\\w+) (\\d+) (\\d+) (\\w+); ([^;]*)(; .*)?");
        std::smatch part;
        ASSERT_TRUE(std::regex_match(row, part, shape));
        InstallFiles();
        PlumeCapture capture(QuickFixPlumeLevel::ERROR);
        FaultInjector::Fail(part[2].str().c_str(), std::stoi(part[3]), std::stoi(part[4]), ErrorNumber(part[5]));
        EXPECT_EQ(OPERATIONS.at(part[1]).run(), part[6]);
        EXPECT_TRUE(FaultInjector::End());
        std::string records;
        for (const std::string& record : capture.Take()) {
            records += "; " + record.substr(2);
        }
        EXPECT_EQ(records, part[7]);
    }
    EXPECT_GT(rows, 40) << "the table is not whole";
}

/// Interrupts the process's calls about a thousand times a second while it lives.
class Interruptions {
public:
    Interruptions() {
        struct sigaction action = {};  // without SA_RESTART
        action.sa_handler = [](int) {};
        sigaction(SIGALRM, &action, nullptr);
        Set(900);
    }
    ~Interruptions() { Set(0); }
    Interruptions(const Interruptions&) = delete;
    Interruptions& operator=(const Interruptions&) = delete;

private:
    static void Set(suseconds_t interval) {
        const itimerval timer = {{0, interval}, {0, interval}};
        setitimer(ITIMER_REAL, &timer, nullptr);
    }
};

TEST(Faults, SignalsChangeNoOutcome) {
    for (const auto& [name, operation] : OPERATIONS) {
        InstallFiles();
        const std::string clean = operation.run();
        for (int round = 0; round < 10; ++round) {
            InstallFiles();
            const Interruptions interruptions;
            EXPECT_EQ(operation.run(), clean) << name;
        }
    }
}

TEST(Faults, WithoutAProcessForTheShellEveryCheckSaysSo) {
    InstallFiles();
    Logger().OutputLog("opens the log", "f", "g", 1);
    const pid_t child = fork();
    if (child == 0) {
        const rlimit none = {0, 0};
        const bool limited = setrlimit(RLIMIT_NPROC, &none) == 0 && (geteuid() != 0 || setuid(65534) == 0);
        PlumeCapture capture(QuickFixPlumeLevel::ERROR);
        const bool said = Verify() == R"("/tmp/tree/a": "true" 2)" && capture.Take().size() == 4 &&
                          VerifyApp().find(": \"false,miss,") != std::string::npos && capture.Take().size() == 3;
        _exit(!limited ? 2 : said ? 0 : 1);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
}

TEST(Faults, WalksGoOnWhenFilesVanishUnderThem) {
    for (const char* name : {"folder's size", "clean", "copy folder", "verify"}) {
        InstallFiles();
        const long before = OpenDescriptors();
        std::atomic<bool> ended{false};
        std::thread other([&ended] {
            for (int i = 0; !ended; ++i) {
                const std::string path = "/tmp/tree/" + std::to_string(i % 50);
                std::error_code ignored;
                fs::create_directory(path, ignored);
                std::ofstream(path + "/file") << CONTENT;
                fs::copy_file("/tmp/json", "/patch_qv/overlay/tmp/tree/b", ignored);
                fs::remove_all("/tmp/tree/" + std::to_string((i + 25) % 50), ignored);
                fs::remove("/patch_qv/overlay/tmp/tree/b", ignored);
            }
        });
        for (int round = 0; round < 40; ++round) {
            OPERATIONS.at(name).run();
        }
        ended = true;
        other.join();
        InstallFiles();
        EXPECT_LE(OpenDescriptors(), before) << name;
        EXPECT_TRUE(std::regex_match(OPERATIONS.at(name).run(), std::regex(OPERATIONS.at(name).outcomes))) << name;
    }
}

TEST(Faults, LogsThatOthersTouch) {
    const Records lost = {"E ChangeFileForOverSize: get first log file stat fail",
                          "E OutputLog: ChangeFileForOverSize fail"};
    struct Case {
        const char* name;
        std::function<void()> touch;
        std::string first;  // the texts of the lines in both files behind the next record
        std::string second;
        Records records;
    };
    const Case cases[] = {
        {"both emptied", [] { fs::resize_file(FIRST_LOG, 0), fs::resize_file(SECOND_LOG, 0); }, "", "next", {}},
        {"cut within a line", [] { fs::resize_file(SECOND_LOG, Read(SECOND_LOG).size() - 1); }, "old", "one next", {}},
        {"first deleted", [] { fs::remove(FIRST_LOG); }, "", "one next", {}},
        {"second deleted", [] { fs::remove(SECOND_LOG); }, "old", "next", {}},
        {"both deleted", [] { fs::remove(FIRST_LOG), fs::remove(SECOND_LOG); }, "", "", lost},
    };
    const auto texts = [](const std::string& path) {
        std::string found;
        for (const char* text : {"old", "one", "next"}) {
            found += Read(path).find(text) == std::string::npos ? "" : (found.empty() ? "" : " ") + std::string(text);
        }
        return found;
    };
    for (const Case& c : cases) {
        Logger().RemoveLog();
        Write(FIRST_LOG, std::string(65532, '.') + "old\n");
        Logger().OutputLog("one", "f", "g", 1);
        PlumeCapture capture;
        c.touch();
        Logger().OutputLog("next", "f", "g", 1);
        EXPECT_EQ(texts(FIRST_LOG) + "|" + texts(SECOND_LOG), c.first + "|" + c.second) << c.name;
        EXPECT_EQ(capture.Take(), c.records) << c.name;
    }
    Logger().RemoveLog();
    Logger().OutputLog("next", "f", "g", 1);
    EXPECT_EQ(texts(FIRST_LOG), "next");
}

}  // namespace
