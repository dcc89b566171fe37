#include <fcntl.h>
#include <spdlog/sinks/rotating_file_sink.h>
#include <spdlog/spdlog.h>
#include <sys/stat.h>
#include <unistd.h>

#include <climits>
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "jobs/jobs.h"
#include "platform/singleton.h"
#include "quick_fix_log.h"

namespace bench {
namespace {

using TEKLO::QuickFixEngine::QuickFixLogger;

constexpr char FIRST_LOG[] = "/data/update/quickfix/log/quickfix_1.log";
constexpr char SECOND_LOG[] = "/data/update/quickfix/log/quickfix_2.log";
constexpr char FLOOR_LOG[] = "/data/update/quickfix/log/floor.log";
constexpr off_t FULL = 65536;

void WriteRecord() {
    QF_FILE_LOGD("filePath: %{public}s, Prop: %{public}s", "/system/lib64/libexample.so", "-rw-r--r--");
}

void RemoveLog() {
    TEKLO::DelayedSingleton<QuickFixLogger>::GetInstance()->RemoveLog();
}

size_t RecordLength() {
    RemoveLog();
    WriteRecord();
    const uintmax_t length = std::filesystem::file_size(FIRST_LOG);
    RemoveLog();
    Require(length > 0, "a record in the file log");
    return length;
}

void RecordLibrary(benchmark::State& state) {
    RemoveLog();
    std::ofstream(SECOND_LOG).close();
    for ([[maybe_unused]] auto _ : state) {
        WriteRecord();
    }
    RemoveLog();
}

// What no logger that looks for its file and its size before each record can do without.
void RecordFloor(benchmark::State& state) {
    const std::string line(RecordLength(), 'x');
    const int file = open(FLOOR_LOG, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
    for ([[maybe_unused]] auto _ : state) {
        char resolved[PATH_MAX];
        struct stat status = {};
        benchmark::DoNotOptimize(realpath(FLOOR_LOG, resolved));
        (void)stat(FLOOR_LOG, &status);
        if (status.st_size >= FULL) {
            (void)!ftruncate(file, 0);
        }
        (void)!write(file, line.data(), line.size());
    }
    close(file);
}

void RecordSpdlog(benchmark::State& state) {
    auto logger = spdlog::rotating_logger_mt("bench", "/tmp/spdlog.log", FULL, 1);
    logger->flush_on(spdlog::level::trace);
    for ([[maybe_unused]] auto _ : state) {
        logger->info("filePath: {}, Prop: {}", "/system/lib64/libexample.so", "-rw-r--r--");
    }
    spdlog::drop("bench");
}

}  // namespace

Comparison CompareLogRecord() {
    return {
        "log_record",
        "One file-log record",
        MICROSECONDS,
        ROUNDS,
        {Ours("library", "RecordLibrary", RecordLibrary),
         Other("realpath, stat and write alone", "RecordFloor", RecordFloor),
         Other("spdlog, rotating, flushed", "RecordSpdlog", RecordSpdlog)},
        {{0, 1, Relation::TIME}, {0, 2, Relation::TIME}},
    };
}

}  // namespace bench
