#include "system/terminal.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <cstdlib>

namespace qfctl {

bool IsTerminal(int descriptor) {
    return isatty(descriptor) == 1;
}

bool SupportsColor(int descriptor) {
    const char* noColor = getenv("NO_COLOR");
    return (noColor == nullptr || *noColor == '\0') && IsTerminal(descriptor);
}

size_t GetTerminalWidth(int descriptor) {
    winsize size = {};
    return ioctl(descriptor, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : 80;
}

}  // namespace qfctl
