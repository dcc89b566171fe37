#include <gtest/gtest.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <regex>
#include <stdexcept>
#include <thread>

#include "file_utils.h"
#include "platform/singleton.h"
#include "quick_fix_log.h"
#include "support/fault_injector.h"
#include "support/files.h"
#include "support/limits.h"
#include "support/transcript.h"

namespace fs = std::filesystem;
using namespace TEKLO::QuickFixEngine;

namespace {

constexpr char TREE[] = "/tmp/tree/";

QuickFixLogger& Logger() {
    return *TEKLO::DelayedSingleton<QuickFixLogger>::GetInstance();
}

void InstallFiles() {
    for (const char* path : {"/tmp/tree", "/tmp/copy", "/tmp/new"}) {
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
    Do("InitStatusRecord /tmp/status K");
}

struct Operation {
    const char* call;
    const char* look;      // at what it left
    const char* outcomes;  // all that may come of the two, whichever call of the C library fails
    const char* prepare = "";
};

constexpr Operation OPERATIONS[] = {
    {"GetFileSHA256 /tmp/tree/a", "", "[0-9a-f]{64}|\"\""},
    {"GetFileSize /tmp/tree/a 0", "", "3000|-1"},
    {"GetDirSize /tmp/tree", "", "5|0|throws filesystem_error"},
    {"free /tmp", "", "true|false"},
    {"CleanDir /tmp/tree self", "entries /tmp/tree", "true (throws filesystem_error|[012])|false [012]"},
    {"MakeDir /tmp/new 700", "type /tmp/new", "true 40700|false 0"},
    {"MakeFile /tmp/new c{3000}", "read /tmp/new", "true (c.3000.|\"\")|false \"\""},
    {"RenameFile /tmp/tree/a /tmp/new", "read /tmp/new", "true c.3000.|false \"\""},
    {"CopyFile /tmp/tree/a /tmp/new", "read /tmp/new", "true c.3000.|false .*"},
    {"CopyDir /tmp/tree/ /tmp/copy/", "read /tmp/copy/sub/b", "true c.3000.|false .*"},
    {"ReadLines /tmp/tree/a", "", ".c.3000..|\"\""},
    {"GetFileStream /tmp/tree/a", "", "c.3000.|\"\""},
    {"GetKeyCmdlineStr quickfix", "", "quickfix=1.n|\"\""},
    {"SetStatus/3 2 loaded \"\"", "GetStatusFromFile", "2.loaded.|2..|..|1.init.3,"},
    {"GetStatusFromFile", "", "1.init.3,|.."},
    {"OutputLog marker", "log /data/update/quickfix/log/quickfix_2.log", "(x.65535..n)?(TIME.f.g.:1.marker.n)?|\"\""},
    {"OutputLog marker", "log /data/update/quickfix/log/quickfix_2.log",
     "x.4075..n(2026-03-01 09:05:07.)?(TIME.f.g.:1.marker.n)?|\"\"",
     R"(write /data/update/quickfix/log/quickfix_2.log "x{4075}\n2026-03-01 09:05:07.")"},
    {"CheckNativePatch", "", R"re("/tmp/tree/a": "(true|false,source:[^}]*)"\},[^}]*\}|"Native": "null")re"},
    {"CheckAppPatch app 7", "", R"re("app": "(true|false,[^}]*)"\},[^}]*\})re"},
};

std::string OutcomeOf(const std::string& call) {
    const std::string done = Do(call);
    const std::string line = done.substr(0, done.find('\n'));
    const size_t outcome = line.find(" -> ");
    return outcome == std::string::npos ? "" : line.substr(outcome + 4);
}

/// What comes of the operation while calls fail, and what it left, looked at when none fails any more.
std::string Perform(const Operation& operation) {
    const std::string outcome = OutcomeOf(operation.call);
    FaultInjector::End();
    const std::string left = *operation.look != '\0' ? OutcomeOf(operation.look) : "";
    return outcome + (outcome.empty() || left.empty() ? "" : " ") + left;
}

void InstallFor(const Operation& operation) {
    InstallFiles();
    if (*operation.prepare != '\0') {
        Do(operation.prepare);
    }
}

/// Lets each call of one kind fail in turn, and tells how many there were.
int Sweep(const Operation& operation, const char* call, int error) {
    InstallFor(operation);
    const std::string clean = Perform(operation);
    const std::regex outcomes(operation.outcomes);
    int failed = 0;
    for (bool reached = true; reached; failed += reached ? 1 : 0) {
        SCOPED_TRACE(std::string(operation.call) + ", " + call + " " + std::to_string(failed + 1) + ": " +
                     strerror(error));
        InstallFor(operation);
        const long before = OpenDescriptors();
        FaultInjector::Fail(call, failed + 1, 1, error);
        const std::string outcome = Perform(operation);
        reached = FaultInjector::End();
        Logger().RemoveLog();
        EXPECT_TRUE(std::regex_match(outcome, outcomes)) << outcome;
        EXPECT_TRUE(error != EINTR || outcome == clean) << outcome;
        EXPECT_LE(OpenDescriptors(), before);
        EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1) << "a command was not waited for";
    }
    InstallFor(operation);
    EXPECT_EQ(Perform(operation), clean) << operation.call << " behind a failing " << call;
    return failed;
}

TEST(Faults, WhateverCallFailsTheOutcomeIsAKnownOneAndNothingIsLeftBehind) {
    const std::pair<const char*, int> faults[] = {
        {"chmod", EPERM}, {"chown", EPERM}, {"fopen", EMFILE}, {"fread", EIO},    {"mkdir", ENOSPC},
        {"open", EMFILE}, {"opendir", EIO}, {"popen", EAGAIN}, {"pread", EIO},    {"read", EIO},
        {"read", EINTR},  {"readdir", EIO}, {"realpath", EIO}, {"remove", EROFS}, {"rename", EIO},
        {"stat", EIO},    {"statfs", EIO},  {"write", ENOSPC}, {"write", EINTR},
    };
    for (const auto& [call, error] : faults) {
        int failed = 0;
        for (const Operation& operation : OPERATIONS) {
            failed += Sweep(operation, call, error);
        }
        EXPECT_GT(failed, 0) << "no operation calls " << call;
    }
}

int ErrorNumber(const std::string& name) {
    for (int error = 1; error < 200; ++error) {
        const char* found = strerrorname_np(error);
        if (found != nullptr && name == found) {
            return error;
        }
    }
    throw std::invalid_argument(name);
}

// A transcript in which "fault CALL FIRST COUNT ERROR" lets calls fail during the one operation behind it.
TEST(Faults, OutcomeAndRecordsOfEach) {
    static const std::regex fault("fault (\\w+) (\\d+) (\\d+) (\\w+)");
    const std::string expected = Read(TEST_DATA "/faults.txt");
    std::istringstream lines(expected);
    std::string seen;
    std::smatch plan;
    for (std::string line; std::getline(lines, line);) {
        if (std::regex_match(line, plan, fault)) {
            InstallFiles();
            seen += line + "\n";
            std::string call;
            std::getline(lines, call);
            FaultInjector::Fail(plan[1].str().c_str(), std::stoi(plan[2]), std::stoi(plan[3]), ErrorNumber(plan[4]));
            seen += Do(call.substr(0, call.find(" -> ")));
            EXPECT_TRUE(FaultInjector::End()) << line;
        } else if (line[0] != ' ') {
            seen += Do(line.substr(0, line.find(" -> ")));
        }
    }
    EXPECT_EQ(seen, expected);
    EXPECT_NE(seen, "");
}

int g_reads = 0;

TEST(Faults, CopyOfAGrowingFileTakesWhatWasThereToRead) {
    Write("/tmp/source", "x");
    // The second read finds the end of the file; it grows behind that.
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

/// Interrupts the process's calls about a thousand times a second while it lives.
class Interruptions {
public:
    Interruptions() {
        struct sigaction action = {};  // without SA_RESTART
        action.sa_handler = [](int) { ++g_interruptions; };
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
    for (const Operation& operation : OPERATIONS) {
        InstallFor(operation);
        const std::string clean = Perform(operation);
        for (int round = 0; round < 10; ++round) {
            InstallFor(operation);
            const Interruptions interruptions;
            EXPECT_EQ(Perform(operation), clean) << operation.call;
        }
    }
    EXPECT_GT(g_interruptions, 100);
}

TEST(Faults, WithoutAProcessForTheShellEveryCheckSaysSo) {
    constexpr int UNLIMITED = 2;
    InstallFiles();
    Do("OutputLog opened");
    const pid_t child = fork();
    if (child == 0) {
        const rlimit none = {0, 0};
        const bool limited = setrlimit(RLIMIT_NPROC, &none) == 0 && (geteuid() != 0 || setuid(65534) == 0);
        const pid_t another = fork();
        if (!limited || another >= 0) {
            _exit(UNLIMITED);
        }
        const std::string verdict = OutcomeOf("CheckNativePatch");
        const bool unproven = verdict.find("unproven: 2") != std::string::npos;
        const bool missing = OutcomeOf("CheckAppPatch app 7").find(": \"false,miss,") != std::string::npos;
        _exit(unproven && missing ? 0 : 1);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    if (WIFEXITED(status) && WEXITSTATUS(status) == UNLIMITED) {
        GTEST_SKIP() << "root's processes are not limited, and it cannot become another user here";
    }
    EXPECT_EQ(status, 0);
}

TEST(Faults, WalksGoOnWhenFilesVanishUnderThem) {
    for (const Operation& operation : OPERATIONS) {
        InstallFor(operation);
        const long before = OpenDescriptors();
        std::atomic<bool> ended{false};
        std::thread other([&ended] {
            std::error_code ignored;
            for (int i = 0; !ended; ++i) {
                const std::string path = TREE + std::to_string(i % 50);
                fs::create_directory(path, ignored);
                std::ofstream(path + "/file") << "text";
                fs::copy_file("/tmp/status", "/patch_qv/overlay/tmp/tree/b", ignored);
                fs::remove_all(TREE + std::to_string((i + 25) % 50), ignored);
                fs::remove("/patch_qv/overlay/tmp/tree/b", ignored);
            }
        });
        for (int round = 0; round < 20; ++round) {
            Do(operation.call);
        }
        ended = true;
        other.join();
        InstallFor(operation);
        EXPECT_LE(OpenDescriptors(), before) << operation.call;
        EXPECT_TRUE(std::regex_match(Perform(operation), std::regex(operation.outcomes))) << operation.call;
    }
}

}  // namespace
