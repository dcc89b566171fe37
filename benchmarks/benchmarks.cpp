// Jobs that the library does, and the same jobs done by other programs and libraries. report.py runs the jobs in rounds
// and compares their times.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <openssl/crypto.h>
#include <openssl/evp.h>
#include <spawn.h>
#include <spdlog/sinks/rotating_file_sink.h>
#include <spdlog/spdlog.h>
#include <strings.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "file_utils.h"
#include "platform/singleton.h"
#include "quick_fix_log.h"
#include "string_utils.h"
#include "test_manager.h"

namespace {

namespace fs = std::filesystem;
using namespace TEKLO::QuickFixEngine;

// Short samples, so that interference affects some rounds but not the median.
void InShortSamples(benchmark::internal::Benchmark* job) {
    job->UseRealTime()->MinTime(0.2);
}

void Require(bool done, const std::string& what) {
    if (!done) {
        (void)fprintf(stderr, "quickfix_benchmarks: failed: %s\n", what.c_str());
        exit(EXIT_FAILURE);
    }
}

void MakeFile(const fs::path& path, size_t size) {
    fs::create_directories(path.parent_path());
    std::ofstream(path) << std::string(size, 'x');
    Require(fs::file_size(path) == size, "writing " + path.string());
}

constexpr char DIGEST_FILE[] = "/tmp/patch_qv/overlay/system/digest";

std::string DigestWithEvp(const std::string& path) {
    static char block[64 * 1024];
    const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    EVP_MD_CTX* context = EVP_MD_CTX_new();
    EVP_DigestInit_ex(context, EVP_sha256(), nullptr);
    for (ssize_t count = 0; (count = read(file, block, sizeof(block))) > 0;) {
        EVP_DigestUpdate(context, block, static_cast<size_t>(count));
    }
    unsigned char digest[EVP_MAX_MD_SIZE] = {};
    unsigned int length = 0;
    EVP_DigestFinal_ex(context, digest, &length);
    EVP_MD_CTX_free(context);
    close(file);
    char text[2 * EVP_MAX_MD_SIZE + 1] = {};
    OPENSSL_buf2hexstr_ex(text, sizeof(text), nullptr, digest, length, '\0');
    return text;
}

void Digest(benchmark::State& state, size_t size, std::string (*digest)(const std::string&)) {
    MakeFile(DIGEST_FILE, size);
    for ([[maybe_unused]] auto _ : state) {
        benchmark::DoNotOptimize(digest(DIGEST_FILE));
    }
    const std::string expected = FileUtils::GetFileSHA256(DIGEST_FILE);
    Require(strcasecmp(digest(DIGEST_FILE).c_str(), expected.c_str()) == 0, "the same digest");
}
BENCHMARK_CAPTURE(Digest, Library, 64U << 20, FileUtils::GetFileSHA256)->Apply(InShortSamples);
BENCHMARK_CAPTURE(Digest, Evp, 64U << 20, DigestWithEvp)->Apply(InShortSamples);
BENCHMARK_CAPTURE(Digest, SmallLibrary, 8192, FileUtils::GetFileSHA256)->Apply(InShortSamples);
BENCHMARK_CAPTURE(Digest, SmallEvp, 8192, DigestWithEvp)->Apply(InShortSamples);

/// Returns the peak memory of this process in KiB. The peak in getrusage would include the parent's memory at the fork.
double PeakKib() {
    std::ifstream status("/proc/self/status");
    std::string field;
    double peak = 0;
    while (status >> field && field != "VmHWM:") {
    }
    Require(static_cast<bool>(status >> peak), "reading the peak of memory");
    return peak;
}

void DigestMemory(benchmark::State& state, uintmax_t size) {
    // A sparse file takes no memory on tmpfs.
    std::ofstream("/tmp/hole").close();
    fs::resize_file("/tmp/hole", size);
    for ([[maybe_unused]] auto _ : state) {
        Require(!FileUtils::GetFileSHA256("/tmp/hole").empty(), "digest of a large file");
    }
    state.counters["peak_kib"] = PeakKib();
}
BENCHMARK_CAPTURE(DigestMemory, Of1GiB, 1U << 30)->UseRealTime()->Iterations(1);
BENCHMARK_CAPTURE(DigestMemory, Of1MiB, 1U << 20)->UseRealTime()->Iterations(1);

constexpr char FIRST_LOG[] = "/data/update/quickfix/log/quickfix_1.log";
constexpr char SECOND_LOG[] = "/data/update/quickfix/log/quickfix_2.log";
constexpr char OTHER_LOG[] = "/data/update/quickfix/log/other.log";
constexpr off_t FULL = 65536;

void WriteRecord() {
    QF_FILE_LOGD("filePath: %{public}s, Prop: %{public}s", "/system/lib64/libexample.so", "-rw-r--r--");
}

/// Deletes the log, and returns the length of the record that WriteRecord writes.
size_t ClearLog() {
    const auto logger = TEKLO::DelayedSingleton<QuickFixLogger>::GetInstance();
    logger->RemoveLog();
    WriteRecord();
    const size_t length = fs::file_size(FIRST_LOG);
    logger->RemoveLog();
    return length;
}

void RecordLibrary(benchmark::State& state) {
    ClearLog();
    // Starts with the second file, so that every full file causes a rotation.
    std::ofstream(SECOND_LOG).close();
    for ([[maybe_unused]] auto _ : state) {
        WriteRecord();
    }
    Require(fs::file_size(SECOND_LOG) > 0, "records in the file log");
    ClearLog();
}
BENCHMARK(RecordLibrary)->Apply(InShortSamples);

void RecordSystemCalls(benchmark::State& state, bool resolvePath) {
    const std::string line(ClearLog(), 'x');
    const int file = open(OTHER_LOG, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
    for ([[maybe_unused]] auto _ : state) {
        char resolved[PATH_MAX];
        if (resolvePath) {
            benchmark::DoNotOptimize(realpath(OTHER_LOG, resolved));
        }
        struct stat status = {};
        (void)stat(OTHER_LOG, &status);
        if (status.st_size >= FULL) {
            (void)!ftruncate(file, 0);
        }
        (void)!write(file, line.data(), line.size());
    }
    close(file);
}
BENCHMARK_CAPTURE(RecordSystemCalls, StatWrite, false)->Apply(InShortSamples);
BENCHMARK_CAPTURE(RecordSystemCalls, RealpathStatWrite, true)->Apply(InShortSamples);

void RecordSpdlog(benchmark::State& state) {
    auto logger = spdlog::rotating_logger_mt("bench", "/tmp/spdlog.log", FULL, 1);
    logger->flush_on(spdlog::level::trace);
    for ([[maybe_unused]] auto _ : state) {
        logger->info("filePath: {}, Prop: {}", "/system/lib64/libexample.so", "-rw-r--r--");
    }
    spdlog::drop("bench");
}
BENCHMARK(RecordSpdlog)->Apply(InShortSamples);

constexpr char OVERLAY[] = "/patch_qv/overlay";

void MakeOverlay(int files) {
    for (const std::string root : {"/bench/", "/patch_qv/overlay/bench/"}) {
        fs::remove_all(root);
        for (int i = 0; i < files; ++i) {
            MakeFile(root + std::to_string(i / 100) + "/" + std::to_string(i), 8192);
        }
    }
}

void RunLibrary(int files, Inspection inspection) {
    TestManager manager;
    manager.SetInspection(inspection);
    const std::string report = manager.CheckNativePatch();
    Require(report.find("\"success\": \"" + std::to_string(files) + "\"") != std::string::npos, "verification");
}

void VerifyThroughShell(int files) {
    RunLibrary(files, Inspection::SHELL);
}

void VerifyDirectly(int files) {
    RunLibrary(files, Inspection::DIRECT);
}

std::string FirstLine(const std::string& command) {
    const std::unique_ptr<FILE, int (*)(FILE*)> pipe(popen(command.c_str(), "r"), pclose);
    char line[1024] = {};
    Require(pipe != nullptr && fgets(line, sizeof(line), pipe.get()) != nullptr, command);
    return line;
}

void VerifyInLoop(int files) {
    for (const auto& entry : fs::recursive_directory_iterator(OVERLAY)) {
        if (!entry.is_regular_file()) {
            continue;
        }
        const std::string patch = entry.path();
        for (const std::string& path : {patch, patch.substr(sizeof(OVERLAY) - 1)}) {
            benchmark::DoNotOptimize(FileUtils::GetFileSHA256(path));
            benchmark::DoNotOptimize(FirstLine("ls -l " + path));
            benchmark::DoNotOptimize(FirstLine("ls -Z " + path));
        }
        --files;
    }
    Require(files == 0, "all files visited");
}

void Nothing() {}

void Run(const std::string& command) {
    Require(std::system(command.c_str()) == 0, command);
}

void InitAide() {
    std::ofstream("/tmp/aide.conf") << "database_in=file:/tmp/aide.db\ndatabase_out=file:/tmp/aide.db\n"
                                       "/bench p+sha256+selinux\n";
    Run("aide --init --config=/tmp/aide.conf >/dev/null");
}

void CheckWithAide(int /*files*/) {
    Run("aide --check --config=/tmp/aide.conf >/dev/null");
}

void InitSha256sum() {
    Run("find /bench -type f -exec sha256sum {} + >/tmp/digests");
}

void CheckWithSha256sum(int /*files*/) {
    Run("sha256sum --check --quiet /tmp/digests");
}

void Verify(benchmark::State& state, int files, void (*verify)(int files), void (*init)() = Nothing) {
    if (init == Nothing) {
        // Warms up: the first run of a process takes longer.
        MakeOverlay(1);
        verify(1);
    }
    MakeOverlay(files);
    init();
    for ([[maybe_unused]] auto _ : state) {
        verify(files);
    }
    state.SetItemsProcessed(state.iterations() * files);
}
BENCHMARK_CAPTURE(Verify, Shell, 200, VerifyThroughShell)->UseRealTime()->Iterations(1);
BENCHMARK_CAPTURE(Verify, Loop, 200, VerifyInLoop)->UseRealTime()->Iterations(1);
BENCHMARK_CAPTURE(Verify, Direct200, 200, VerifyDirectly)->UseRealTime()->Iterations(30);
BENCHMARK_CAPTURE(Verify, Direct100, 100, VerifyDirectly)->UseRealTime()->Iterations(1);
BENCHMARK_CAPTURE(Verify, Direct10000, 10000, VerifyDirectly)->UseRealTime()->Iterations(1);
BENCHMARK_CAPTURE(Verify, Direct100000, 100000, VerifyDirectly)->UseRealTime()->Iterations(1);
BENCHMARK_CAPTURE(Verify, Aide, 10000, CheckWithAide, InitAide)->UseRealTime()->Iterations(1);
BENCHMARK_CAPTURE(Verify, Sha256sum, 10000, CheckWithSha256sum, InitSha256sum)->UseRealTime()->Iterations(1);

void Copy(benchmark::State& state, bool (*copy)()) {
    for (const char* file : {"/tmp/tree/a", "/tmp/tree/b", "/tmp/tree/c", "/tmp/tree/sub/d"}) {
        MakeFile(file, 16U << 20);
    }
    for ([[maybe_unused]] auto _ : state) {
        Require(copy(), "copy of a tree");
        state.PauseTiming();
        FileUtils::CleanDir("/tmp/copy", true);
        state.ResumeTiming();
    }
}
BENCHMARK_CAPTURE(Copy, Library, [] { return FileUtils::CopyDir("/tmp/tree/", "/tmp/copy/"); })->Apply(InShortSamples);
BENCHMARK_CAPTURE(Copy, Cp, [] { return std::system("cp -r /tmp/tree /tmp/copy") == 0; })->Apply(InShortSamples);

using Pieces = std::vector<std::string>;

Pieces SplitWithGetline(std::string& text) {
    Pieces pieces;
    std::istringstream stream(text);
    for (std::string piece; std::getline(stream, piece, ' ');) {
        if (!piece.empty()) {
            pieces.push_back(piece);
        }
    }
    return pieces;
}

Pieces SplitWithStrtok(std::string& text) {
    Pieces pieces;
    std::string copy = text;
    char* rest = nullptr;
    for (char* piece = strtok_r(copy.data(), " ", &rest); piece != nullptr; piece = strtok_r(nullptr, " ", &rest)) {
        pieces.emplace_back(piece);
    }
    return pieces;
}

void Split(benchmark::State& state, Pieces (*split)(std::string&)) {
    std::string text;
    for (size_t i = 0; i < 40; ++i) {
        text += "driver.option" + std::to_string(i) + "=" + std::string(i / 2, 'v') + (i % 8 == 0 ? "  " : " ");
    }
    for ([[maybe_unused]] auto _ : state) {
        benchmark::DoNotOptimize(split(text));
    }
    Require(split(text).size() == 40 && split(text) == StringUtils::Split(text, ' '), "the same pieces of a text");
}
BENCHMARK_CAPTURE(Split, Library, [](std::string& text) {
    return StringUtils::Split(text, ' ');
})->Apply(InShortSamples);
BENCHMARK_CAPTURE(Split, Getline, SplitWithGetline)->Apply(InShortSamples);
BENCHMARK_CAPTURE(Split, Strtok, SplitWithStrtok)->Apply(InShortSamples);

void Load(benchmark::State& state, const char* program) {
    std::string path = fs::read_symlink("/proc/self/exe").parent_path() / program;
    char* const arguments[] = {path.data(), nullptr};
    for ([[maybe_unused]] auto _ : state) {
        pid_t process = 0;
        int status = -1;
        Require(posix_spawn(&process, path.c_str(), nullptr, nullptr, arguments, environ) == 0, path);
        Require(waitpid(process, &status, 0) == process && status == 0, path);
    }
}
BENCHMARK_CAPTURE(Load, Library, "load_library")->Apply(InShortSamples);
BENCHMARK_CAPTURE(Load, Port, "load_port")->Apply(InShortSamples);
BENCHMARK_CAPTURE(Load, Dependencies, "load_dependencies")->Apply(InShortSamples);
BENCHMARK_CAPTURE(Load, Core, "load_core")->Apply(InShortSamples);
BENCHMARK_CAPTURE(Load, Nothing, "load_nothing")->Apply(InShortSamples);

}  // namespace

int main(int argc, char** argv) {
    QuickFixPlumeWrapper::level_ = static_cast<QuickFixPlumeLevel>(INT32_MAX);
    benchmark::AddCustomContext("versions", VERSIONS);
    benchmark::Initialize(&argc, argv);
    return !benchmark::ReportUnrecognizedArguments(argc, argv) && benchmark::RunSpecifiedBenchmarks() > 0 ? 0 : 2;
}
