#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "diagnosis/checks.h"
#include "text/escape.h"

namespace qfctl {

Finding CheckParameterStore() {
    const std::string name = "parameters";
    const char* chosen = secure_getenv("QUICKFIX_PARAMETERS");
    const std::string path = chosen != nullptr ? chosen : "/etc/quickfix/parameters.conf";
    const std::string file = QuoteIfUnprintable(path);
    const std::string advice = "make it a readable file with lines of key=value, or name one in QUICKFIX_PARAMETERS";
    struct stat status = {};
    if (stat(path.c_str(), &status) != 0) {
        const bool isMissing = errno == ENOENT || errno == ENOTDIR;
        return {name, isMissing ? Severity::WARNING : Severity::ERROR,
                file + " can't be used: " + strerror(errno) + (isMissing ? "; no parameter has a value" : ""), advice};
    }
    if (!S_ISREG(status.st_mode)) {
        return {name, Severity::ERROR, file + " is not a regular file", advice};
    }
    if (access(path.c_str(), R_OK) != 0) {
        return {name, Severity::ERROR, file + " can't be read: " + strerror(errno), advice};
    }
    return {name, Severity::OK, file + " can be read", ""};
}

}  // namespace qfctl
