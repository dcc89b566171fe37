#include "system/timed_command.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <system_error>

#include "system/unique_fd.h"

namespace qfctl {
namespace {

using Clock = std::chrono::steady_clock;

constexpr int POLL_INTERVAL_MS = 10;

void Check(int error) {
    if (error != 0) {
        throw std::system_error(error, std::generic_category());
    }
}

class SpawnSetup {
public:
    explicit SpawnSetup(int output) {
        Check(posix_spawn_file_actions_init(&actions));
        Check(posix_spawnattr_init(&attributes));
        Check(posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0));
        Check(posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO));
        Check(posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0));
        Check(posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP));
    }
    ~SpawnSetup() {
        posix_spawn_file_actions_destroy(&actions);
        posix_spawnattr_destroy(&attributes);
    }
    SpawnSetup(const SpawnSetup&) = delete;
    SpawnSetup& operator=(const SpawnSetup&) = delete;

    posix_spawn_file_actions_t actions = {};
    posix_spawnattr_t attributes = {};
};

pid_t Start(const std::string& command, int output) {
    const SpawnSetup setup(output);
    std::array<std::string, 3> words = {"sh", "-c", command};
    const std::array<char*, 4> arguments = {words[0].data(), words[1].data(), words[2].data(), nullptr};
    pid_t process = 0;
    Check(posix_spawn(&process, "/bin/sh", &setup.actions, &setup.attributes, arguments.data(), environ));
    return process;
}

/// Counts line feeds up to the end of the output. Returns false at the deadline.
bool CountLines(int output, Clock::time_point deadline, size_t& lines) {
    std::array<char, 4096> block = {};
    while (Clock::now() < deadline) {
        pollfd readable = {output, POLLIN, 0};
        if (poll(&readable, 1, POLL_INTERVAL_MS) <= 0) {
            continue;
        }
        const ssize_t count = read(output, block.data(), block.size());
        if (count == 0) {
            return true;
        }
        lines += static_cast<size_t>(std::count(block.begin(), block.begin() + std::max<ssize_t>(count, 0), '\n'));
    }
    return false;
}

bool WaitForEnd(pid_t process, Clock::time_point deadline, int& status) {
    while (Clock::now() < deadline) {
        const pid_t ended = waitpid(process, &status, WNOHANG);
        if (ended > 0) {
            return true;
        }
        Check(ended < 0 && errno != EINTR ? errno : 0);
        poll(nullptr, 0, POLL_INTERVAL_MS);
    }
    return false;
}

}  // namespace

TimedResult RunTimed(const std::string& command, std::chrono::milliseconds timeout) {
    const auto deadline = Clock::now() + timeout;
    std::array<int, 2> ends = {};
    Check(pipe2(ends.data(), O_CLOEXEC) == 0 ? 0 : errno);
    const UniqueFd output(ends[0]);
    UniqueFd input(ends[1]);
    const pid_t process = Start(command, input.Get());
    input = UniqueFd();
    TimedResult result;
    result.hasEnded = CountLines(output.Get(), deadline, result.lines) && WaitForEnd(process, deadline, result.status);
    if (!result.hasEnded) {
        kill(-process, SIGKILL);
        // Does not wait for the killed command, which may be stuck in the kernel.
        waitpid(process, nullptr, WNOHANG);
    }
    return result;
}

}  // namespace qfctl
