#include <fcntl.h>
#include <poll.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstring>
#include <iostream>
#include <memory>
#include <string>
#include <utility>

#include "commands/command.h"
#include "commands/commands.h"
#include "failure.h"
#include "input/log_reader.h"
#include "quick_fix_logger.h"
#include "system/terminal.h"
#include "system/unique_fd.h"
#include "text/escape.h"
#include "text/json_text.h"

namespace qfctl {
namespace {

using TEKLO::QuickFixEngine::QUICK_FIX_FIRST_LOG_FILE;
using TEKLO::QuickFixEngine::QUICK_FIX_LOG_DIR;
using TEKLO::QuickFixEngine::QUICK_FIX_SECOND_LOG_FILE;

constexpr size_t TIME_LENGTH = 23;
constexpr int POLL_INTERVAL_MS = 200;

struct LogOptions {
    bool follow = false;
    bool clear = false;
    bool json = false;
    std::string grep;
};

[[noreturn]] void ThrowOutputFailure() {
    throw Failure(ExitCode::NOT_CHECKED, "standard output can't be written");
}

/// Waits for changes in the log directory, which may be created and deleted meanwhile.
class FolderWatch {
public:
    FolderWatch() : events_(inotify_init1(IN_NONBLOCK | IN_CLOEXEC)) {}

    /// Waits up to POLL_INTERVAL_MS for a change or, if `hasOutput`, until standard output is writable. Returns true if
    /// `hasOutput` and standard output is writable. If standard output has no reader, raises SIGPIPE, or throws Failure
    /// if SIGPIPE is ignored.
    bool Wait(bool hasOutput) {
        // Has no effect if the watch exists.
        inotify_add_watch(events_.Get(), QUICK_FIX_LOG_DIR, IN_MODIFY | IN_CREATE | IN_MOVED_TO | IN_DELETE);
        std::array<pollfd, 2> polled = {
            {{events_.Get(), POLLIN, 0}, {STDOUT_FILENO, static_cast<short>(hasOutput ? POLLOUT : 0), 0}}};
        poll(polled.data(), polled.size(), POLL_INTERVAL_MS);
        std::array<char, 4096> buffer = {};
        while (read(events_.Get(), buffer.data(), buffer.size()) > 0) {
        }
        if ((polled[1].revents & ~POLLOUT) != 0) {
            raise(SIGPIPE);
            ThrowOutputFailure();
        }
        return polled[1].revents == POLLOUT;
    }

private:
    UniqueFd events_;
};

/// Splits "TIME[FILE(FUNCTION):LINE]MESSAGE". For a line in another format, sets only the message.
Json ParseRecord(const std::string& line) {
    Json record(cJSON_CreateObject());
    const size_t function = line.find('(', TIME_LENGTH);
    const size_t number = line.find("):", function);
    const size_t message = line.find(']', number);
    if (line.size() <= TIME_LENGTH || line[TIME_LENGTH] != '[' || message == std::string::npos) {
        AddText(record, "message", line);
        return record;
    }
    AddText(record, "time", line.substr(0, TIME_LENGTH));
    AddText(record, "file", line.substr(TIME_LENGTH + 1, function - TIME_LENGTH - 1));
    AddText(record, "function", line.substr(function + 1, number - function - 1));
    cJSON_AddNumberToObject(record.get(), "line",
                            strtod(line.substr(number + 2, message - number - 2).c_str(), nullptr));
    AddText(record, "message", line.substr(message + 1));
    return record;
}

/// Returns the line in its output format, or an empty string if it does not match --grep.
std::string FormatLine(const LogOptions& options, const std::string& line) {
    static const bool isTerminal = IsTerminal(STDOUT_FILENO);
    if (line.find(options.grep) == std::string::npos) {
        return "";
    }
    return options.json ? ToText(ParseRecord(line)) : (isTerminal ? QuoteIfUnprintable(line) : line) + "\n";
}

/// Text to write as soon as standard output is writable.
class PendingOutput {
public:
    void Append(const std::string& text) { text_ += text; }
    bool IsEmpty() const { return written_ == text_.size(); }

    /// Writes at most PIPE_BUF bytes, which a writable pipe accepts without blocking.
    void WriteSome() {
        const size_t size = std::min<size_t>(text_.size() - written_, PIPE_BUF);
        const ssize_t count = TEMP_FAILURE_RETRY(write(STDOUT_FILENO, text_.data() + written_, size));
        if (count < 0 && errno != EAGAIN) {
            ThrowOutputFailure();
        }
        written_ += static_cast<size_t>(std::max<ssize_t>(count, 0));
        if (written_ * 2 >= text_.size()) {
            text_.erase(0, std::exchange(written_, 0));
        }
    }

private:
    std::string text_;
    size_t written_ = 0;
};

/// Keeps reading the log while the reader of the output is slow, so that a rotation loses no line.
[[noreturn]] void Follow(const LogOptions& options) {
    LogReader reader({QUICK_FIX_FIRST_LOG_FILE, QUICK_FIX_SECOND_LOG_FILE});
    FolderWatch watch;
    PendingOutput output;
    while (true) {
        reader.ReadNew([&](const std::string& line) { output.Append(FormatLine(options, line)); });
        if (watch.Wait(!output.IsEmpty())) {
            output.WriteSome();
        }
    }
}

ExitCode Show(const LogOptions& options) {
    bool found = options.grep.empty();
    LogReader reader({QUICK_FIX_FIRST_LOG_FILE, QUICK_FIX_SECOND_LOG_FILE});
    reader.ReadAll([&](const std::string& line) {
        const std::string text = FormatLine(options, line);
        found = found || !text.empty();
        std::cout << text;
    });
    if (!reader.HasFiles()) {
        throw Failure(ExitCode::FAILED, std::string("there is no log in ") + QUICK_FIX_LOG_DIR);
    }
    return found ? ExitCode::DONE : ExitCode::FAILED;
}

/// Truncates a regular file. Ignores a missing file. Throws Failure for any other type of file, and if the file can't
/// be truncated. Does not change the target of a symbolic link.
void EmptyFile(const std::string& path) {
    const UniqueFd file(open(path.c_str(), O_WRONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    struct stat status = {};
    const auto fail = [&path](const char* reason) {
        throw Failure(ExitCode::FAILED, path + " can't be emptied: " + reason);
    };
    if (!file.IsOpen()) {
        if (errno != ENOENT && errno != ENOTDIR) {
            fail(errno == ELOOP ? "it is a symbolic link" : strerror(errno));
        }
        return;
    }
    if (fstat(file.Get(), &status) == 0 && !S_ISREG(status.st_mode)) {
        fail("it is not a regular file");
    }
    if (ftruncate(file.Get(), 0) != 0) {
        fail(strerror(errno));
    }
}

/// Truncates the files instead of deleting them: a process that has one of them open drops its records while both are
/// missing.
ExitCode Clear() {
    const ExitCode first = Attempt([] { EmptyFile(QUICK_FIX_FIRST_LOG_FILE); });
    return std::max(first, Attempt([] { EmptyFile(QUICK_FIX_SECOND_LOG_FILE); }));
}

ExitCode Log(const LogOptions& options) {
    if (options.clear) {
        return Clear();
    }
    if (options.follow) {
        Follow(options);
    }
    return Show(options);
}

}  // namespace

void AddLogCommand(CLI::App& app, ExitCode& result) {
    const auto options = std::make_shared<LogOptions>();
    CLI::App* command = AddCommand(app, result, options, "log", "Show the file log, both files as one stream", Log);
    auto* follow =
        command->add_flag("-f,--follow", options->follow, "Print new lines as they arrive, across rotations");
    auto* json = command->add_flag("--json", options->json, "Print one JSON object per record");
    auto* grep = command->add_option("--grep", options->grep, "Print only lines that contain TEXT")->type_name("TEXT");
    command->add_flag("--clear", options->clear, "Truncate the log files; running processes continue to log")
        ->excludes(follow)
        ->excludes(json)
        ->excludes(grep);
}

}  // namespace qfctl
