#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>

#include "jobs/jobs.h"

namespace bench {
namespace {

/// Programs of the same source, linked to different libraries, beside this one.
std::string ProgramPath(const std::string& name) {
    return std::filesystem::read_symlink("/proc/self/exe").parent_path() / name;
}

bool Run(const std::string& path) {
    std::string name = path;
    char* const arguments[] = {name.data(), nullptr};
    pid_t process = 0;
    int status = -1;
    return posix_spawn(&process, path.c_str(), nullptr, nullptr, arguments, environ) == 0 &&
           waitpid(process, &status, 0) == process && status == 0;
}

Job Start(const std::string& program) {
    return [path = ProgramPath(program)](benchmark::State& state) {
        bool done = true;
        for ([[maybe_unused]] auto _ : state) {
            done = Run(path) && done;
        }
        Require(done, path);
    };
}

}  // namespace

Comparison CompareLoadTime() {
    return {
        "load_time",
        "Empty program, linked to",
        MILLISECONDS,
        ROUNDS,
        {Ours("library", "LoadLibrary", Start("load_library")),
         Other("its port, libsystemd, libcrypto, libcjson, libstdc++", "LoadPort", Start("load_port")),
         Other("libsystemd, libcrypto, libcjson, libstdc++", "LoadDependencies", Start("load_dependencies")),
         Other("libcrypto, libcjson, libstdc++", "LoadCore", Start("load_core")),
         Other("C library alone", "LoadNothing", Start("load_nothing"))},
        {{0, 1, Relation::TIME}, {0, 2, Relation::TIME}, {0, 3, Relation::TIME}, {0, 4, Relation::TIME}},
    };
}

}  // namespace bench
