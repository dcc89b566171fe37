#include "shell_command.h"

#include <array>
#include <utility>
#include <vector>

namespace TEKLO::QuickFixEngine {

ShellCommand::ShellCommand(std::string command) : command_(std::move(command)), output_(popen(command_.c_str(), "r")) {}

bool ShellCommand::EnsureStarted() {
    if (output_ == nullptr) {
        output_.reset(popen(command_.c_str(), "r"));
    }
    return output_ != nullptr;
}

std::string ShellCommand::ReadLine(size_t limit) {
    std::vector<char> line(limit + 1, '\0');
    const bool read = fgets(line.data(), static_cast<int>(line.size()), output_.get()) != nullptr;
    output_.reset();
    return read ? line.data() : std::string();
}

std::string ShellCommand::ReadBlock() {
    std::array<char, 512> block = {};
    const size_t count = fread(block.data(), 1, block.size(), output_.get());
    output_.reset();
    return {block.data(), count};
}

}  // namespace TEKLO::QuickFixEngine
