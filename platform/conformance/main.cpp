// Checks a port of the platform against the contract in its headers.
//
//   platform_conformance [--list] [--in-process] [CHECK...]
//
// Without names, runs all checks. Each check runs in a child process, with standard error redirected to /dev/null.
// --in-process runs them in this process, for a debugger. Exit code: 0 all passed, 1 a check failed, 2 usage error, 3
// no check failed but some could not run.

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>

#include "report.h"

namespace {

using Conformance::Check;
using Conformance::Report;

enum Verdict { PASSED = 0, FAILED = 1, NOT_CHECKED = 3 };

struct Outcome {
    Verdict verdict = FAILED;
    std::string text;
};

struct Options {
    bool list = false;
    bool inProcess = false;
    std::vector<std::string> names;
};

constexpr int USAGE_ERROR = 2;
constexpr std::chrono::seconds TIME_LIMIT{60};

std::vector<Check> AllChecks() {
    std::vector<Check> all;
    for (const auto& group :
         {Conformance::SymbolChecks(), Conformance::LifetimeChecks(), Conformance::LogChecks(),
          Conformance::ParameterChecks(), Conformance::BoundsChecks(), Conformance::EventChecks()}) {
        all.insert(all.end(), group.begin(), group.end());
    }
    return all;
}

Outcome RunInThisProcess(const Check& check) {
    Report report;
    check.run(report);
    const Verdict verdict = report.HasFailed() ? FAILED : report.IsNotChecked() ? NOT_CHECKED : PASSED;
    return {verdict, report.Text()};
}

[[noreturn]] void RunInChild(const Check& check, int output) {
    setpgid(0, 0);
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    const int devNull = open("/dev/null", O_WRONLY | O_CLOEXEC);
    dup2(devNull, STDERR_FILENO);
    const Outcome outcome = RunInThisProcess(check);
    (void)!write(output, outcome.text.data(), outcome.text.size());
    // Not _exit: the check covers the destructors that run at exit.
    std::exit(outcome.verdict);
}

/// Reads until the other end is closed. Returns false after TIME_LIMIT.
bool ReadAll(int input, std::string& text) {
    const auto deadline = std::chrono::steady_clock::now() + TIME_LIMIT;
    for (;;) {
        const auto rest =
            std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
        pollfd ready = {input, POLLIN, 0};
        if (rest.count() <= 0 || poll(&ready, 1, static_cast<int>(rest.count())) <= 0) {
            return false;
        }
        std::array<char, 4096> block = {};
        const ssize_t length = read(input, block.data(), block.size());
        if (length <= 0) {
            return length == 0;
        }
        text.append(block.data(), static_cast<size_t>(length));
    }
}

Outcome DescribeEnd(int status, std::string text) {
    if (WIFSIGNALED(status)) {
        return {FAILED, text + "    ended by signal " + std::to_string(WTERMSIG(status)) + "\n"};
    }
    switch (WEXITSTATUS(status)) {
        case PASSED:
            return {PASSED, std::move(text)};
        case FAILED:
            return {FAILED, std::move(text)};
        case NOT_CHECKED:
            return {NOT_CHECKED, std::move(text)};
        default:
            return {FAILED, text + "    ended with exit code " + std::to_string(WEXITSTATUS(status)) + "\n"};
    }
}

Outcome RunInChildProcess(const Check& check) {
    std::array<int, 2> ends = {};
    if (pipe2(ends.data(), O_CLOEXEC) != 0) {
        return {NOT_CHECKED, std::string("    can't create a pipe: ") + strerror(errno) + "\n"};
    }
    fflush(nullptr);
    const pid_t child = fork();
    if (child == 0) {
        RunInChild(check, ends[1]);
    }
    close(ends[1]);
    std::string text;
    const bool ended = child > 0 && ReadAll(ends[0], text);
    close(ends[0]);
    if (child < 0) {
        return {NOT_CHECKED, std::string("    can't fork: ") + strerror(errno) + "\n"};
    }
    if (!ended) {
        // Kills the process group, because the check may have forked.
        kill(-child, SIGKILL);
    }
    int status = 0;
    waitpid(child, &status, 0);
    return ended ? DescribeEnd(status, std::move(text)) : Outcome{FAILED, text + "    did not end within 60 seconds\n"};
}

const char* Describe(Verdict verdict) {
    return verdict == PASSED ? "passed     " : verdict == FAILED ? "FAILED     " : "not checked";
}

bool IsSelected(const Check& check, const std::vector<std::string>& names) {
    return names.empty() || std::find(names.begin(), names.end(), check.name) != names.end();
}

bool Parse(int argc, char** argv, const std::vector<Check>& checks, Options& options) {
    for (int i = 1; i < argc; ++i) {
        const std::string word = argv[i];
        const auto isNamed = [&word](const Check& check) { return check.name == word; };
        if (word == "--list") {
            options.list = true;
        } else if (word == "--in-process") {
            options.inProcess = true;
        } else if (std::any_of(checks.begin(), checks.end(), isNamed)) {
            options.names.push_back(word);
        } else {
            fprintf(stderr, "platform_conformance: unknown check or option '%s'; --list shows the checks\n", argv[i]);
            return false;
        }
    }
    return true;
}

int RunAll(const std::vector<Check>& checks, const Options& options) {
    std::map<Verdict, int> counts;
    for (const Check& check : checks) {
        if (!IsSelected(check, options.names)) {
            continue;
        }
        const Outcome outcome = options.inProcess ? RunInThisProcess(check) : RunInChildProcess(check);
        ++counts[outcome.verdict];
        printf("%s  %s\n%s", Describe(outcome.verdict), check.name.c_str(), outcome.text.c_str());
        fflush(stdout);
    }
    printf("%d passed, %d failed, %d not checked\n", counts[PASSED], counts[FAILED], counts[NOT_CHECKED]);
    return counts[FAILED] > 0 ? FAILED : counts[NOT_CHECKED] > 0 ? NOT_CHECKED : PASSED;
}

}  // namespace

int main(int argc, char** argv) {
    const std::vector<Check> checks = AllChecks();
    Options options;
    if (!Parse(argc, argv, checks, options)) {
        return USAGE_ERROR;
    }
    if (!options.list) {
        return RunAll(checks, options);
    }
    for (const Check& check : checks) {
        printf("%s\n", check.name.c_str());
    }
    return PASSED;
}
