// Each job of the library beside the fastest way, or the plainest one, to do the same; both sides in one run.
// What counts is the ratio of their times, printed as a Markdown table.

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <openssl/evp.h>
#include <spdlog/sinks/rotating_file_sink.h>
#include <spdlog/spdlog.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "file_utils.h"
#include "platform/singleton.h"
#include "quick_fix_log.h"
#include "test_manager.h"

namespace fs = std::filesystem;
using namespace TEKLO::QuickFixEngine;

namespace {

constexpr char OVERLAY[] = "/patch_qv/overlay/";
constexpr char LIVE[] = "/bench/";
constexpr char SECOND_LOG[] = "/data/update/quickfix/log/quickfix_2.log";
constexpr char FLOOR_LOG[] = "/data/update/quickfix/log/floor.log";
constexpr char DIGEST_FILE[] = "/tmp/digest";
constexpr char TREE[] = "/tmp/tree/";

void WriteFile(const std::string& path, size_t size) {
    fs::create_directories(fs::path(path).parent_path());
    std::string content(size, '\0');
    for (size_t i = 0; i < size; ++i) {
        content[i] = static_cast<char>(i * 31 + path.size());
    }
    std::ofstream(path, std::ios::binary) << content;
}

void DigestLibrary(benchmark::State& state) {
    for ([[maybe_unused]] auto _ : state) {
        benchmark::DoNotOptimize(FileUtils::GetFileSHA256(DIGEST_FILE));
    }
}

void DigestEvp(benchmark::State& state) {
    std::vector<char> block(64 * 1024);
    for ([[maybe_unused]] auto _ : state) {
        const int file = open(DIGEST_FILE, O_RDONLY | O_CLOEXEC);
        EVP_MD_CTX* context = EVP_MD_CTX_new();
        EVP_DigestInit_ex(context, EVP_sha256(), nullptr);
        for (ssize_t count = 0; (count = read(file, block.data(), block.size())) > 0;) {
            EVP_DigestUpdate(context, block.data(), static_cast<size_t>(count));
        }
        unsigned char digest[EVP_MAX_MD_SIZE] = {};
        EVP_DigestFinal_ex(context, digest, nullptr);
        EVP_MD_CTX_free(context);
        close(file);
        benchmark::DoNotOptimize(digest);
    }
}

void RecordLibrary(benchmark::State& state) {
    std::ofstream(SECOND_LOG).close();
    for ([[maybe_unused]] auto _ : state) {
        QF_FILE_LOGD("filePath: %{public}s, Prop: %{public}s", "/system/lib64/libexample.so", "-rw-r--r--");
    }
    TEKLO::DelayedSingleton<QuickFixLogger>::GetInstance()->RemoveLog();
}

// What no logger that looks for its file and its size before each record can do without.
void RecordFloor(benchmark::State& state) {
    const std::string line(118, 'x');
    const int file = open(FLOOR_LOG, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
    for ([[maybe_unused]] auto _ : state) {
        char resolved[PATH_MAX];
        struct stat status = {};
        benchmark::DoNotOptimize(realpath(FLOOR_LOG, resolved));
        (void)stat(FLOOR_LOG, &status);
        if (status.st_size >= 65536) {
            (void)!ftruncate(file, 0);
        }
        (void)!write(file, line.data(), line.size());
    }
    close(file);
}

void RecordSpdlog(benchmark::State& state) {
    auto logger = spdlog::rotating_logger_mt("bench", "/tmp/spdlog.log", 65536, 1);
    logger->flush_on(spdlog::level::trace);
    for ([[maybe_unused]] auto _ : state) {
        logger->info("filePath: {}, Prop: {}", "/system/lib64/libexample.so", "-rw-r--r--");
    }
    spdlog::drop("bench");
}

void MakeOverlay(long files) {
    for (const char* root : {OVERLAY, LIVE}) {
        FileUtils::CleanDir(root, false);
    }
    for (long i = 0; i < files; ++i) {
        const std::string name = std::to_string(i / 100) + "/" + std::to_string(i);
        WriteFile(LIVE + name, 8192);
        fs::create_directories(fs::path(OVERLAY + std::string(LIVE) + name).parent_path());
        fs::copy_file(LIVE + name, OVERLAY + std::string(LIVE) + name);
    }
}

void VerifyLibrary(benchmark::State& state) {
    MakeOverlay(state.range(0));
    for ([[maybe_unused]] auto _ : state) {
        benchmark::DoNotOptimize(TestManager().CheckNativePatch());
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

std::string FirstLine(const std::string& command) {
    FILE* pipe = popen(command.c_str(), "r");
    char line[1024] = {};
    benchmark::DoNotOptimize(fgets(line, sizeof(line), pipe));
    pclose(pipe);
    return line;
}

void VerifyPlainLoop(benchmark::State& state) {
    MakeOverlay(state.range(0));
    for ([[maybe_unused]] auto _ : state) {
        for (const auto& entry : fs::recursive_directory_iterator(OVERLAY)) {
            if (!entry.is_regular_file()) {
                continue;
            }
            const std::string patch = entry.path();
            const std::string live = patch.substr(sizeof(OVERLAY) - 2);
            for (const std::string& path : {patch, live}) {
                benchmark::DoNotOptimize(FileUtils::GetFileSHA256(path));
                benchmark::DoNotOptimize(FirstLine("ls -l " + path));
                benchmark::DoNotOptimize(FirstLine("ls -Z " + path));
            }
        }
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

void CopyLibrary(benchmark::State& state) {
    for ([[maybe_unused]] auto _ : state) {
        benchmark::DoNotOptimize(FileUtils::CopyDir(TREE, "/tmp/copy/"));
        state.PauseTiming();
        FileUtils::CleanDir("/tmp/copy", true);
        state.ResumeTiming();
    }
}

void CopyCp(benchmark::State& state) {
    for ([[maybe_unused]] auto _ : state) {
        benchmark::DoNotOptimize(std::system("cp -r /tmp/tree /tmp/copy"));
        state.PauseTiming();
        FileUtils::CleanDir("/tmp/copy", true);
        state.ResumeTiming();
    }
}

/// Keeps the median of each benchmark's repetitions, in nanoseconds.
class MedianReporter : public benchmark::BenchmarkReporter {
public:
    bool ReportContext(const Context& /*context*/) override { return true; }
    void ReportRuns(const std::vector<Run>& runs) override {
        for (const Run& run : runs) {
            if (run.aggregate_name == "median") {
                medians_[run.run_name.function_name + run.run_name.args] =
                    run.real_accumulated_time * 1e9 / static_cast<double>(run.iterations);
            }
        }
    }
    /// 0 when it was filtered out.
    double Median(const std::string& name) const {
        const auto found = medians_.find(name);
        return found == medians_.end() ? 0 : found->second;
    }

private:
    std::map<std::string, double> medians_;
};

std::string Fixed(double value, int digits) {
    char text[32] = {};
    (void)snprintf(text, sizeof(text), "%.*f", digits, value);
    return text;
}

void PrintRow(const std::string& job, double ours, const std::string& beside, double theirs, const std::string& ratio) {
    std::cout << "| " << job << " | " << Fixed(ours / 1e3, 1) << " | " << beside << " | " << Fixed(theirs / 1e3, 1)
              << " | " << ratio << " |\n";
}

void PrintTable(const MedianReporter& reporter) {
    const auto row = [&reporter](const std::string& job, const std::string& ours, const std::string& beside,
                                 const std::string& theirs, bool speed) {
        const double a = reporter.Median(ours);
        const double b = reporter.Median(theirs);
        if (a == 0 || b == 0) {
            return;
        }
        PrintRow(job, a, beside, b, speed ? Fixed(b / a, 2) + " of its speed" : Fixed(a / b, 2) + " of its time");
    };
    std::cout << "| job | library, µs | beside | it, µs | ratio |\n|---|---:|---|---:|---|\n";
    row("digest of 64 MiB", "DigestLibrary", "EVP, 64 KiB reads", "DigestEvp", true);
    row("one file-log record", "RecordLibrary", "realpath, stat, write alone", "RecordFloor", false);
    row("one file-log record", "RecordLibrary", "spdlog, rotating, flushed", "RecordSpdlog", false);
    row("200 files verified", "VerifyLibrary200", "the same in a plain loop", "VerifyPlainLoop200", true);
    row("tree of 4 × 16 MiB copied", "CopyLibrary", "cp -r", "CopyCp", true);
    const double few = reporter.Median("VerifyLibrary100") / 100;
    const double many = reporter.Median("VerifyLibrary10000") / 10000;
    if (few > 0 && many > 0) {
        PrintRow("one file of 10,000 verified", many, "one file of 100", few, Fixed(many / few, 2) + " of its time");
    }
}

long PeakKib() {
    rusage usage = {};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss;
}

/// Before anything else is measured: the peak can only grow.
void PrintDigestMemory() {
    WriteFile("/tmp/small", 1U << 20);
    fs::remove("/tmp/large");
    std::ofstream("/tmp/large").close();
    fs::resize_file("/tmp/large", 1ULL << 30);
    (void)FileUtils::GetFileSHA256("/tmp/small");
    const long before = PeakKib();
    (void)FileUtils::GetFileSHA256("/tmp/large");
    std::cout << "\nPeak memory of the process grew by " << PeakKib() - before
              << " KiB from the digest of 1 MiB to that of 1 GiB.\n";
    fs::remove("/tmp/large");
}

}  // namespace

int main(int argc, char** argv) {
    QuickFixPlumeWrapper::level_ = static_cast<QuickFixPlumeLevel>(INT32_MAX);
    PrintDigestMemory();
    WriteFile(DIGEST_FILE, 64U << 20);
    for (const char* name : {"a", "b", "c", "sub/d"}) {
        WriteFile(std::string(TREE) + name, 16U << 20);
    }
    const auto repeated = [](benchmark::internal::Benchmark* job) {
        return job->UseRealTime()->Repetitions(7)->ReportAggregatesOnly();
    };
    repeated(benchmark::RegisterBenchmark("DigestLibrary", DigestLibrary));
    repeated(benchmark::RegisterBenchmark("DigestEvp", DigestEvp));
    repeated(benchmark::RegisterBenchmark("RecordLibrary", RecordLibrary));
    repeated(benchmark::RegisterBenchmark("RecordFloor", RecordFloor));
    repeated(benchmark::RegisterBenchmark("RecordSpdlog", RecordSpdlog));
    repeated(benchmark::RegisterBenchmark("CopyLibrary", CopyLibrary));
    repeated(benchmark::RegisterBenchmark("CopyCp", CopyCp));
    repeated(benchmark::RegisterBenchmark("VerifyLibrary", VerifyLibrary))->Arg(200)->Arg(100);
    repeated(benchmark::RegisterBenchmark("VerifyPlainLoop", VerifyPlainLoop))->Arg(200);
    repeated(benchmark::RegisterBenchmark("VerifyLibrary", VerifyLibrary))->Arg(10000)->Iterations(1)->Repetitions(2);
    benchmark::Initialize(&argc, argv);
    MedianReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    std::cout << "\n";
    PrintTable(reporter);
    return 0;
}
