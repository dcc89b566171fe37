#include "shell_command.h"

#include <array>
#include <cstdio>
#include <memory>

#include "interrupted_read.h"

namespace TEKLO::QuickFixEngine {
namespace {

struct PipeCloser {
    void operator()(FILE* pipe) const { pclose(pipe); }
};
using Pipe = std::unique_ptr<FILE, PipeCloser>;

}  // namespace

std::optional<std::string> ReadLineOf(const std::string& command, size_t limit) {
    const Pipe output(popen(command.c_str(), "r"));
    if (output == nullptr) {
        return std::nullopt;
    }
    std::string line;
    while (line.size() < limit && (line.empty() || line.back() != '\n')) {
        const int character = getc(output.get());
        if (character != EOF) {
            line += static_cast<char>(character);
        } else if (!WasInterrupted(output.get())) {
            break;
        }
    }
    return line.substr(0, line.find('\0'));
}

std::optional<std::string> ReadBlockOf(const std::string& command) {
    const Pipe output(popen(command.c_str(), "r"));
    if (output == nullptr) {
        return std::nullopt;
    }
    std::array<char, 512> block = {};
    size_t count = 0;
    do {
        count += fread(block.data() + count, 1, block.size() - count, output.get());
    } while (count < block.size() && WasInterrupted(output.get()));
    return std::string(block.data(), count);
}

}  // namespace TEKLO::QuickFixEngine
