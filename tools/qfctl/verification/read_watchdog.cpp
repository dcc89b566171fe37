#include "verification/read_watchdog.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <iterator>
#include <string>

#include "system/unique_fd.h"

namespace qfctl {

namespace fs = std::filesystem;

namespace {

constexpr auto INTERVAL = std::chrono::milliseconds(500);
constexpr char OWN_DESCRIPTORS[] = "/proc/self/fd";

std::set<int> ListDescriptors() {
    std::set<int> descriptors;
    std::error_code error;
    for (fs::directory_iterator entries(OWN_DESCRIPTORS, error); !error && entries != fs::directory_iterator();
         entries.increment(error)) {
        descriptors.insert(std::stoi(entries->path().filename()));
    }
    for (auto descriptor = descriptors.begin(); descriptor != descriptors.end();) {
        const bool isOpen = fcntl(*descriptor, F_GETFD) >= 0;  // false for the descriptor of the listing itself
        descriptor = isOpen ? std::next(descriptor) : descriptors.erase(descriptor);
    }
    return descriptors;
}

bool CanBlockReads(int descriptor) {
    struct stat status = {};
    if (fstat(descriptor, &status) != 0) {
        return false;
    }
    std::error_code error;
    const std::string target = fs::read_symlink(fs::path(OWN_DESCRIPTORS) / std::to_string(descriptor), error);
    const bool isNamedPipe = S_ISFIFO(status.st_mode) && target.rfind('/', 0) == 0;  // popen's pipe has no path
    return isNamedPipe || S_ISCHR(status.st_mode) || S_ISBLK(status.st_mode);
}

void ReplaceEndlessFiles(const std::set<int>& inherited) {
    const UniqueFd empty(open("/dev/null", O_RDONLY | O_CLOEXEC));
    for (const int descriptor : ListDescriptors()) {
        if (descriptor != empty.Get() && inherited.count(descriptor) == 0 && CanBlockReads(descriptor)) {
            dup3(empty.Get(), descriptor, O_CLOEXEC);
        }
    }
}

}  // namespace

ReadWatchdog::ReadWatchdog() : inherited_(ListDescriptors()) {
    struct sigaction interrupt = {};
    interrupt.sa_handler = [](int) {};  // without SA_RESTART, a blocked call fails
    sigaction(SIGALRM, &interrupt, &previousAction_);
    sigset_t alarm = {};
    sigemptyset(&alarm);
    sigaddset(&alarm, SIGALRM);
    pthread_sigmask(SIG_UNBLOCK, &alarm, nullptr);
    thread_ = std::thread([this] { Watch(); });
}

ReadWatchdog::~ReadWatchdog() {
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        isEnded_ = true;
    }
    ended_.notify_one();
    thread_.join();
    sigaction(SIGALRM, &previousAction_, nullptr);
}

void ReadWatchdog::Watch() {
    std::unique_lock<std::mutex> lock(mutex_);
    while (!ended_.wait_for(lock, INTERVAL, [this] { return isEnded_; })) {
        ReplaceEndlessFiles(inherited_);
        pthread_kill(reader_, SIGALRM);
    }
}

}  // namespace qfctl
