#include "jobs.h"

#include <filesystem>
#include <fstream>
#include <stdexcept>

namespace bench {
namespace {

Side Register(const std::string& label, bool ours, const std::string& name, const Job& job, double items) {
    benchmark::RegisterBenchmark(name.c_str(), job)->UseRealTime()->MinTime(SAMPLE_SECONDS);
    return {label, ours, name, items};
}

}  // namespace

void Require(bool done, const std::string& what) {
    if (!done) {
        throw std::runtime_error("failed: " + what);
    }
}

Side Ours(const std::string& label, const std::string& name, const Job& job, double items) {
    return Register(label, true, name, job, items);
}

Side Other(const std::string& label, const std::string& name, const Job& job, double items) {
    return Register(label, false, name, job, items);
}

void WriteFile(const std::string& path, size_t size) {
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    std::string content(size, '\0');
    for (size_t i = 0; i < size; ++i) {
        content[i] = static_cast<char>(i * 31 + path.size());
    }
    std::ofstream(path, std::ios::binary) << content;
}

}  // namespace bench
