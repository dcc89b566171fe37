#include <cstdio>
#include <filesystem>
#include <memory>

#include "file_utils.h"
#include "jobs/jobs.h"
#include "test_manager.h"

namespace bench {
namespace {

namespace fs = std::filesystem;
using TEKLO::QuickFixEngine::FileUtils;
using TEKLO::QuickFixEngine::TestManager;

constexpr char OVERLAY[] = "/patch_qv/overlay";
constexpr char LIVE[] = "/bench/";
constexpr int FILES = 200;
constexpr int ROUNDS_OF_FILES = 11;
constexpr int FEW_FILES = 100;
// One run is soon over, and tells little beside one that takes minutes.
constexpr int RUNS_OF_FEW = 30;
constexpr int MANY_FILES = 10000;
constexpr int ROUNDS_OF_MANY = 3;

void MakeOverlay(int files) {
    for (const char* root : {OVERLAY, LIVE}) {
        FileUtils::CleanDir(root, false);
    }
    for (int i = 0; i < files; ++i) {
        const std::string live = LIVE + std::to_string(i / 100) + "/" + std::to_string(i);
        const std::string patch = OVERLAY + live;
        WriteFile(live, 8192);
        fs::create_directories(fs::path(patch).parent_path());
        fs::copy_file(live, patch);
    }
}

Job VerifyLibrary(int files, int runs) {
    return [files, runs](benchmark::State& state) {
        MakeOverlay(files);
        std::string report;
        for ([[maybe_unused]] auto _ : state) {
            for (int run = 0; run < runs; ++run) {
                report = TestManager().CheckNativePatch();
            }
        }
        Require(report.find("\"success\": \"" + std::to_string(files) + "\"") != std::string::npos, "verification");
    };
}

struct ClosePipe {
    void operator()(FILE* pipe) const { pclose(pipe); }
};
using Pipe = std::unique_ptr<FILE, ClosePipe>;

Pipe Start(const std::string& command) {
    return Pipe(popen(command.c_str(), "r"));
}

std::string FirstLine(const Pipe& pipe) {
    char line[1024] = {};
    Require(fgets(line, sizeof(line), pipe.get()) != nullptr, "a line from ls");
    return line;
}

void VerifyPlainLoop(benchmark::State& state) {
    MakeOverlay(FILES);
    for ([[maybe_unused]] auto _ : state) {
        for (const auto& entry : fs::recursive_directory_iterator(OVERLAY)) {
            if (!entry.is_regular_file()) {
                continue;
            }
            const std::string patch = entry.path();
            const std::string live = patch.substr(sizeof(OVERLAY) - 1);
            for (const std::string& path : {patch, live}) {
                benchmark::DoNotOptimize(FileUtils::GetFileSHA256(path));
                benchmark::DoNotOptimize(FirstLine(Start("ls -l " + path)));
                benchmark::DoNotOptimize(FirstLine(Start("ls -Z " + path)));
            }
        }
    }
}

/// The four commands that a file takes, and nothing else.
void RunCommands(benchmark::State& state) {
    MakeOverlay(1);
    const std::string live = std::string(LIVE) + "0/0";
    const std::string patch = OVERLAY + live;
    for ([[maybe_unused]] auto _ : state) {
        for (const std::string& command : {"ls -l " + patch, "ls -l " + live, "ls -Z " + patch, "ls -Z " + live}) {
            benchmark::DoNotOptimize(FirstLine(Start(command)));
        }
    }
}

}  // namespace

Comparison CompareVerification() {
    return {
        "verification",
        "One file of 200 verified",
        MILLISECONDS,
        ROUNDS_OF_FILES,
        {Ours("library", "VerifyLibrary200", VerifyLibrary(FILES, 1), FILES),
         Other("the same in a plain loop", "VerifyPlainLoop", VerifyPlainLoop, FILES),
         Other("its four commands alone", "Commands", RunCommands)},
        {{0, 1, Relation::SPEED}, {0, 2, Relation::TIME}},
    };
}

Comparison CompareVerificationGrowth() {
    return {
        "verification_growth",
        "One file of many verified",
        MILLISECONDS,
        ROUNDS_OF_MANY,
        {Ours("library, of 10,000", "VerifyLibrary10000", VerifyLibrary(MANY_FILES, 1), MANY_FILES),
         Ours("library, of 100", "VerifyLibrary100", VerifyLibrary(FEW_FILES, RUNS_OF_FEW), FEW_FILES * RUNS_OF_FEW)},
        {{0, 1, Relation::TIME}},
    };
}

}  // namespace bench
