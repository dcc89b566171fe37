#include <link.h>

#include <filesystem>
#include <vector>

#include "jobs/jobs.h"

namespace bench {
namespace {

namespace fs = std::filesystem;

int KeepPath(dl_phdr_info* library, size_t /*size*/, void* paths) {
    static_cast<std::vector<fs::path>*>(paths)->emplace_back(library->dlpi_name);
    return 0;
}

/// The file of a library that this program runs on.
fs::path LoadedFile(const std::string& name) {
    std::vector<fs::path> paths;
    dl_iterate_phdr(KeepPath, &paths);
    for (const fs::path& path : paths) {
        if (path.filename().string().compare(0, name.size(), name) == 0) {
            return path;
        }
    }
    Require(false, "a loaded library " + name);
    return {};
}

Side SizeOf(const fs::path& file, bool ours) {
    return {file.filename(), ours, "", 1, {static_cast<double>(fs::file_size(file))}};
}

Side Stripped(const std::string& name) {
    return SizeOf(fs::read_symlink("/proc/self/exe").parent_path() / "stripped" / name, true);
}

Side Installed(const std::string& name) {
    return SizeOf(LoadedFile(name), false);
}

}  // namespace

Comparison CompareSize() {
    return {
        "size",
        "File of a shared library",
        BYTES,
        1,
        {Stripped("libquickfix_utils.so"), Stripped("libquickfix_platform.so"), Installed("libcjson.so"),
         Installed("libsystemd.so"), Installed("libspdlog.so"), Installed("libcrypto.so")},
        {{0, 2, Relation::SIZE},
         {0, 3, Relation::SIZE},
         {0, 4, Relation::SIZE},
         {0, 5, Relation::SIZE},
         {1, 3, Relation::SIZE}},
    };
}

}  // namespace bench
