#include "machine.h"

#include <openssl/crypto.h>
#include <spdlog/version.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <ctime>
#include <fstream>

namespace bench {
namespace {

/// The value of the first line that begins with `key`, without what stands around it: "key : value", "key=\"value\"".
std::string ValueOf(const char* path, const std::string& key) {
    std::ifstream file(path);
    for (std::string line; std::getline(file, line);) {
        if (line.compare(0, key.size(), key) != 0) {
            continue;
        }
        const size_t first = line.find_first_not_of(" \t:=\"", key.size());
        const size_t last = line.find_last_not_of(" \t\"");
        return first == std::string::npos ? "" : line.substr(first, last + 1 - first);
    }
    return "";
}

std::string Processor() {
    const std::string model = ValueOf("/proc/cpuinfo", "model name");
    const std::string cores = std::to_string(sysconf(_SC_NPROCESSORS_ONLN)) + " cores";
    const bool isVirtual = ValueOf("/proc/cpuinfo", "flags").find(" hypervisor") != std::string::npos;
    return (model.empty() ? "(not told)" : model) + ", " + cores + (isVirtual ? " of a virtual machine" : "");
}

std::string Kernel() {
    utsname system = {};
    uname(&system);
    return std::string(system.sysname) + " " + system.release + ", " + system.machine;
}

std::string Compiler() {
#ifdef __clang__
    return __VERSION__;
#else
    return "g++ " __VERSION__;
#endif
}

std::string Spdlog() {
    return std::to_string(SPDLOG_VER_MAJOR) + "." + std::to_string(SPDLOG_VER_MINOR) + "." +
           std::to_string(SPDLOG_VER_PATCH);
}

std::string Today() {
    const time_t now = time(nullptr);
    tm date = {};
    gmtime_r(&now, &date);
    char text[32] = {};
    (void)strftime(text, sizeof(text), "%Y-%m-%d", &date);
    return text;
}

}  // namespace

std::string DescribeMachine() {
    return "| | |\n|---|---|\n| processor | " + Processor() + " |\n| kernel | " + Kernel() + " |\n| distribution | " +
           ValueOf("/etc/os-release", "PRETTY_NAME") + " |\n| compiler | " + Compiler() +
           ", release build |\n| beside | OpenSSL " + OpenSSL_version(OPENSSL_VERSION_STRING) + ", spdlog " + Spdlog() +
           " |\n| date | " + Today() + " |";
}

}  // namespace bench
