#include <cstdlib>

#include "file_utils.h"
#include "jobs/jobs.h"

namespace bench {
namespace {

using TEKLO::QuickFixEngine::FileUtils;

constexpr char TREE[] = "/tmp/tree/";

Job Copy(const std::function<bool()>& copy) {
    return [copy](benchmark::State& state) {
        bool done = true;
        for ([[maybe_unused]] auto _ : state) {
            done = copy() && done;
            state.PauseTiming();
            FileUtils::CleanDir("/tmp/copy", true);
            state.ResumeTiming();
        }
        Require(done, "copy of a tree");
    };
}

bool CopyWithLibrary() {
    return FileUtils::CopyDir(TREE, "/tmp/copy/");
}

bool CopyWithCp() {
    return std::system("cp -r /tmp/tree /tmp/copy") == 0;
}

}  // namespace

Comparison CompareCopy() {
    for (const char* name : {"a", "b", "c", "sub/d"}) {
        WriteFile(std::string(TREE) + name, 16U << 20);
    }
    return {
        "copy",
        "Tree of 4 × 16 MiB copied",
        MILLISECONDS,
        ROUNDS,
        {Ours("library", "CopyLibrary", Copy(CopyWithLibrary)), Other("cp -r", "CopyCp", Copy(CopyWithCp))},
        {{0, 1, Relation::SPEED}},
    };
}

}  // namespace bench
