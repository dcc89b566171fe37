// Without this macro sd-journal adds this file and line to each record. The text already names the file and line of the
// caller.
#define SD_JOURNAL_SUPPRESS_LOCATION

#include "plume_record.h"

#include <pthread.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <systemd/sd-journal.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "local_time.h"
#include "plume_format.h"
#include "plume_level.h"

namespace TEKLO::Platform {

namespace {

constexpr char JOURNAL_SOCKET[] = "/run/systemd/journal/socket";

struct LevelStyle {
    char prefix;
    const char* color;
    int priority;  // syslog's number
};

LevelStyle GetStyle(int level) {
    switch (level) {
        case PLUME_LEVEL_DEBUG:
            return {'D', "\x1b[2m", 7};
        case PLUME_LEVEL_INFO:
            return {'I', "", 6};
        case PLUME_LEVEL_WARNING:
            return {'W', "\x1b[33m", 4};
        case PLUME_LEVEL_ERROR:
            return {'E', "\x1b[31m", 3};
        default:
            return {'F', "\x1b[31;1m", 2};
    }
}

/// sd_journal_sendv of libsystemd 252 returns success without a journal, so check its socket first.
bool IsJournalAvailable() {
    const char* target = getenv("QUICKFIX_LOG");
    struct stat status = {};
    return (target == nullptr || strcmp(target, "stderr") != 0) && stat(JOURNAL_SOCKET, &status) == 0 &&
           S_ISSOCK(status.st_mode);
}

bool SendToJournal(int level, unsigned int domain, const char* tag, const std::string& text) {
    char domainText[32] = {};
    snprintf(domainText, sizeof(domainText), "QUICKFIX_DOMAIN=%X", domain);
    std::array<std::string, 4> fields = {
        "MESSAGE=" + text,
        "PRIORITY=" + std::to_string(GetStyle(level).priority),
        std::string("SYSLOG_IDENTIFIER=") + tag,
        domainText,
    };
    std::array<iovec, 4> vectors = {};
    for (size_t i = 0; i < fields.size(); ++i) {
        vectors[i] = {fields[i].data(), fields[i].size()};
    }
    return sd_journal_sendv(vectors.data(), static_cast<int>(vectors.size())) == 0;
}

bool SupportsColor() {
    const char* noColor = getenv("NO_COLOR");
    return (noColor == nullptr || noColor[0] == '\0') && isatty(STDERR_FILENO) == 1;
}

/// Blocks SIGPIPE for the thread and discards the signal that a failed write raises, so that a closed pipe or socket
/// doesn't kill the program. The destructor restores the signal mask and errno. A SIGPIPE that was already pending
/// stays pending.
class SigPipeBlock {
public:
    SigPipeBlock() {
        sigset_t pending;
        sigpending(&pending);
        wasPending_ = sigismember(&pending, SIGPIPE) == 1;
        sigemptyset(&sigPipe_);
        sigaddset(&sigPipe_, SIGPIPE);
        pthread_sigmask(SIG_BLOCK, &sigPipe_, &previousMask_);
    }
    ~SigPipeBlock() {
        const int savedErrno = errno;
        constexpr timespec now = {0, 0};
        while (!wasPending_ && sigtimedwait(&sigPipe_, nullptr, &now) < 0 && errno == EINTR) {
        }
        pthread_sigmask(SIG_SETMASK, &previousMask_, nullptr);
        errno = savedErrno;
    }
    SigPipeBlock(const SigPipeBlock&) = delete;
    SigPipeBlock& operator=(const SigPipeBlock&) = delete;

private:
    bool wasPending_ = false;
    sigset_t sigPipe_ = {};
    sigset_t previousMask_ = {};
};

void WriteToStderr(int level, unsigned int domain, const char* tag, const std::string& text) {
    const LevelStyle style = GetStyle(level);
    char domainText[16] = {};
    snprintf(domainText, sizeof(domainText), "%X", domain);
    std::string line;
    line.append(1, style.prefix).append(" ").append(FormatLocalTime()).append(" ").append(domainText).append(" ");
    line.append(tag).append(": ").append(EscapeControls(text));
    if (SupportsColor()) {
        line = style.color + line + "\x1b[0m";
    }
    line += '\n';
    const SigPipeBlock block;
    // One write per line, so that lines of several threads or processes don't mix.
    (void)!write(STDERR_FILENO, line.data(), line.size());
}

}  // namespace

void WritePlumeRecord(int level, unsigned int domain, const char* tag, const std::string& text) {
    if (!IsJournalAvailable() || !SendToJournal(level, domain, tag, text)) {
        WriteToStderr(level, domain, tag, text);
    }
}

}  // namespace TEKLO::Platform
