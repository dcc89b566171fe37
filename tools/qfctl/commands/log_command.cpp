#include <fcntl.h>
#include <poll.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <condition_variable>
#include <csignal>
#include <cstring>
#include <iostream>
#include <memory>
#include <mutex>
#include <string>
#include <system_error>
#include <thread>
#include <utility>

#include "commands/commands.h"
#include "input/log_reader.h"
#include "system/unique_fd.h"
#include "text/escape.h"
#include "text/json_text.h"

namespace qfctl {
namespace {

constexpr char LOG_DIR[] = "/data/update/quickfix/log";
constexpr char FIRST_LOG_FILE[] = "/data/update/quickfix/log/quickfix_1.log";
constexpr char SECOND_LOG_FILE[] = "/data/update/quickfix/log/quickfix_2.log";
constexpr size_t TIME_LENGTH = 23;
constexpr int POLL_INTERVAL_MS = 200;

struct LogOptions {
    bool follow = false;
    bool clear = false;
    bool json = false;
    std::string grep;
};

/// Sleeps until something happens in the log's folder, or for a while: the folder itself may come and go.
class FolderWatch {
public:
    FolderWatch() : events_(inotify_init1(IN_NONBLOCK | IN_CLOEXEC)) {}

    /// False when nobody reads standard output any more.
    bool Wait() {
        // Adding a watch that is there already changes nothing.
        inotify_add_watch(events_.Get(), LOG_DIR, IN_MODIFY | IN_CREATE | IN_MOVED_TO | IN_DELETE);
        std::array<pollfd, 2> polled = {{{events_.Get(), POLLIN, 0}, {STDOUT_FILENO, 0, 0}}};
        poll(polled.data(), polled.size(), POLL_INTERVAL_MS);
        std::array<char, 4096> buffer = {};
        while (read(events_.Get(), buffer.data(), buffer.size()) > 0) {
        }
        return polled[1].revents == 0;
    }

private:
    UniqueFd events_;
};

/// "TIME[FILE(FUNCTION):LINE]MESSAGE" taken apart; a line of another shape is all message.
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

/// Prints from a thread of its own: while a slow reader keeps it waiting, the log's files are still looked at.
class LinePrinter {
public:
    LinePrinter() : thread_([this] { PrintAll(); }) {}
    ~LinePrinter() {
        {
            const std::lock_guard<std::mutex> lock(mutex_);
            ended_ = true;
        }
        changed_.notify_one();
        thread_.join();
    }
    LinePrinter(const LinePrinter&) = delete;
    LinePrinter& operator=(const LinePrinter&) = delete;

    void Print(const std::string& text) {
        const std::lock_guard<std::mutex> lock(mutex_);
        pending_ += text;
        changed_.notify_one();
    }

    bool IsGood() {
        const std::lock_guard<std::mutex> lock(mutex_);
        return good_;
    }

private:
    void PrintAll() {
        std::unique_lock<std::mutex> lock(mutex_);
        while (good_) {
            changed_.wait(lock, [this] { return ended_ || !pending_.empty(); });
            if (pending_.empty()) {
                return;
            }
            const std::string text = std::exchange(pending_, {});
            lock.unlock();
            const bool printed = static_cast<bool>((std::cout << text).flush());
            lock.lock();
            good_ = printed;
        }
    }

    std::mutex mutex_;
    std::condition_variable changed_;
    std::string pending_;
    bool ended_ = false;
    bool good_ = true;
    std::thread thread_;
};

ExitCode Show(const LogOptions& options) {
    const bool toTerminal = isatty(STDOUT_FILENO) == 1;
    bool found = false;
    LinePrinter printer;
    const auto print = [&](const std::string& line) {
        if (line.find(options.grep) == std::string::npos) {
            return;
        }
        found = true;
        printer.Print(options.json ? ToText(ParseRecord(line)) : (toTerminal ? Printable(line) : line) + "\n");
    };
    LogReader reader({FIRST_LOG_FILE, SECOND_LOG_FILE});
    if (!options.follow) {
        reader.ReadAll(print);
        if (!reader.HasFiles()) {
            return Fail(ExitCode::FAILED, "there is no log");
        }
        return found || options.grep.empty() ? ExitCode::DONE : ExitCode::FAILED;
    }
    FolderWatch watch;
    while (printer.IsGood()) {
        reader.ReadNew(print);
        if (!watch.Wait()) {
            raise(SIGPIPE);  // as the next record would
            break;
        }
    }
    return Fail(ExitCode::NOT_CHECKED, "standard output can't be written");
}

/// Why the file can't be emptied; empty when it is, or absent. What a link leads to is left alone.
std::string EmptyFile(const char* path) {
    const UniqueFd file(open(path, O_WRONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    struct stat status = {};
    if (!file.IsOpen()) {
        return errno == ENOENT || errno == ENOTDIR ? "" : errno == ELOOP ? "it is a link" : strerror(errno);
    }
    if (fstat(file.Get(), &status) == 0 && !S_ISREG(status.st_mode)) {
        return "it is not a regular file";
    }
    return ftruncate(file.Get(), 0) == 0 ? "" : strerror(errno);
}

/// Empties the files and leaves them in place: a process that logs has one of them open, and would log into nothing if
/// it was deleted.
ExitCode Clear() {
    ExitCode result = ExitCode::DONE;
    for (const char* path : {FIRST_LOG_FILE, SECOND_LOG_FILE}) {
        const std::string error = EmptyFile(path);
        if (!error.empty()) {
            result = Fail(ExitCode::FAILED, std::string(path) + " can't be emptied: " + error);
        }
    }
    return result;
}

ExitCode Log(const LogOptions& options) {
    try {
        return options.clear ? Clear() : Show(options);
    } catch (const std::system_error& error) {
        return Fail(ExitCode::NOT_CHECKED, std::string("the log can't be read: ") + error.what());
    }
}

}  // namespace

void AddLogCommand(CLI::App& app, ExitCode& result) {
    CLI::App* command = app.add_subcommand("log", "Show the file log, both files as one stream");
    const auto options = std::make_shared<LogOptions>();
    auto* follow = command->add_flag("-f,--follow", options->follow, "Go on with what is written, through rotations");
    auto* json = command->add_flag("--json", options->json, "Print each record as a JSON object on a line of its own");
    auto* grep = command->add_option("--grep", options->grep, "Only lines that contain TEXT")->type_name("TEXT");
    command->add_flag("--clear", options->clear, "Empty the log instead; processes that log go on logging")
        ->excludes(follow)
        ->excludes(json)
        ->excludes(grep);
    command->callback([options, &result] { result = Log(*options); });
}

}  // namespace qfctl
