// The caller is not to be found from here: the text carries its place.
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
    char letter;
    const char* colour;
    int priority;  // syslog's number
};

LevelStyle StyleOf(int level) {
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

/// The journal takes what is sent to it when it isn't there and says nothing, so its socket is looked for first.
bool IsJournalAvailable() {
    const char* chosen = getenv("QUICKFIX_LOG");
    struct stat status = {};
    return (chosen == nullptr || strcmp(chosen, "stderr") != 0) && stat(JOURNAL_SOCKET, &status) == 0 &&
           S_ISSOCK(status.st_mode);
}

bool SendToJournal(int level, unsigned int domain, const char* tag, const std::string& text) {
    char domainText[32] = {};
    snprintf(domainText, sizeof(domainText), "QUICKFIX_DOMAIN=%X", domain);
    std::array<std::string, 4> fields = {
        "MESSAGE=" + text,
        "PRIORITY=" + std::to_string(StyleOf(level).priority),
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
    const char* noColour = getenv("NO_COLOR");
    return (noColour == nullptr || noColour[0] == '\0') && isatty(STDERR_FILENO) == 1;
}

/// Keeps SIGPIPE from the thread while it lives, so that the program outlives a pipe or socket that nobody reads. What
/// was pending or blocked before stays so, and so does errno.
class SigPipeBlock {
public:
    SigPipeBlock() {
        sigset_t pending;
        sigpending(&pending);
        wasPending_ = sigismember(&pending, SIGPIPE) == 1;
        sigemptyset(&sigPipe_);
        sigaddset(&sigPipe_, SIGPIPE);
        pthread_sigmask(SIG_BLOCK, &sigPipe_, &former_);
    }
    ~SigPipeBlock() {
        const int callersErrno = errno;
        constexpr timespec now = {0, 0};
        while (!wasPending_ && sigtimedwait(&sigPipe_, nullptr, &now) < 0 && errno == EINTR) {
        }
        pthread_sigmask(SIG_SETMASK, &former_, nullptr);
        errno = callersErrno;
    }
    SigPipeBlock(const SigPipeBlock&) = delete;
    SigPipeBlock& operator=(const SigPipeBlock&) = delete;

private:
    bool wasPending_ = false;
    sigset_t sigPipe_ = {};
    sigset_t former_ = {};
};

void WriteToStderr(int level, unsigned int domain, const char* tag, const std::string& text) {
    const LevelStyle style = StyleOf(level);
    char domainText[16] = {};
    snprintf(domainText, sizeof(domainText), "%X", domain);
    std::string line;
    line.append(1, style.letter).append(" ").append(FormatLocalTime()).append(" ").append(domainText).append(" ");
    line.append(tag).append(": ").append(EscapeControls(text));
    if (SupportsColor()) {
        line = style.colour + line + "\x1b[0m";
    }
    line += '\n';
    const SigPipeBlock block;
    // One write a line, so that lines of several threads or processes don't mix.
    (void)!write(STDERR_FILENO, line.data(), line.size());
}

}  // namespace

void WritePlumeRecord(int level, unsigned int domain, const char* tag, const std::string& text) {
    if (!IsJournalAvailable() || !SendToJournal(level, domain, tag, text)) {
        WriteToStderr(level, domain, tag, text);
    }
}

}  // namespace TEKLO::Platform
