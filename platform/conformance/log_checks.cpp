#include <pthread.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "forked_children.h"
#include "platform/bounds_checked.h"
#include "platform/plume_log.h"
#include "report.h"

namespace Conformance {

namespace {

constexpr int SYSTEM_LOG = 3;
constexpr unsigned int DOMAIN_NUMBER = 0xD002E03;
constexpr char TAG[] = "Conformance";

std::atomic<int> g_forks{0};

void WriteRecord() {
    char number[8] = {};
    sprintf_s(number, sizeof(number), "%d", 7);
    PlumePrint(SYSTEM_LOG, 6, DOMAIN_NUMBER, TAG, "record %{public}s", number);
}

// Checks that the calls return and don't fork, not what they write. A log that writes past its buffers may crash the
// process.
void CheckRecords(Report& report) {
    pthread_atfork([] { ++g_forks; }, nullptr, nullptr);
    const std::string longText(100000, 'x');
    for (int level = 3; level <= 6; ++level) {
        PlumePrint(SYSTEM_LOG, level, DOMAIN_NUMBER, TAG, "");
        PlumePrint(SYSTEM_LOG, level, DOMAIN_NUMBER, TAG, "%{public}s %{private}d %{public}5.1f %s %c 100%%", "text",
                   -1, 1.5, "private", 'c');
        PlumePrint(SYSTEM_LOG, level, DOMAIN_NUMBER, TAG, "%{public}ld %{public}llu %{public}zu %{public}x %{public}p",
                   1L, 2ULL, sizeof(int), 3U, static_cast<const void*>(TAG));
        PlumePrint(SYSTEM_LOG, level, DOMAIN_NUMBER, TAG, "%{public}s", longText.c_str());
        PlumePrint(SYSTEM_LOG, level, DOMAIN_NUMBER, TAG, "two\nlines, %{public}s", "\x1b[2J\xff%s%n");
    }
    report.Expect(g_forks == 0, "PlumePrint forks");
}

void CheckThreads(Report& /*report*/) {
    constexpr size_t THREADS = 8;
    std::vector<std::thread> threads;
    threads.reserve(THREADS);
    for (size_t i = 0; i < THREADS; ++i) {
        threads.emplace_back([] {
            for (int record = 0; record < 500; ++record) {
                WriteRecord();
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

void CheckForkedChildren(Report& report) {
    report.Expect(
        ForkedChildrenReturn(100, WriteRecord),
        "a child that was forked while other threads wrote records did not return from PlumePrint or sprintf_s");
}

}  // namespace

std::vector<Check> LogChecks() {
    return {{"log.records", CheckRecords}, {"log.threads", CheckThreads}, {"log.forked_children", CheckForkedChildren}};
}

}  // namespace Conformance
