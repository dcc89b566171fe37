#include "report/progress_line.h"

#include <fcntl.h>
#include <unistd.h>

#include "system/terminal.h"
#include "text/escape.h"
#include "text/utf8.h"

namespace qfctl {

ProgressLine::ProgressLine(size_t total)
    : total_(total), terminal_(IsTerminal(STDERR_FILENO) ? fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 0) : -1) {}

ProgressLine::~ProgressLine() {
    Print("");
}

void ProgressLine::Count(const std::string& item) {
    ++done_;
    const std::string total = total_ > 0 ? "/" + std::to_string(total_) : "";
    Print("[" + std::to_string(done_) + total + "] " + QuoteIfUnprintable(item));
}

void ProgressLine::Print(const std::string& text) const {
    if (!terminal_.IsOpen()) {
        return;
    }
    const std::string line = "\r" + TruncateToWidth(text, GetTerminalWidth(terminal_.Get()) - 1) + "\x1b[K";
    (void)!write(terminal_.Get(), line.data(), line.size());
}

}  // namespace qfctl
