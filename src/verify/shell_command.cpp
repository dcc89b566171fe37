#include "shell_command.h"

#include <vector>

namespace TEKLO::QuickFixEngine {

ShellCommand::ShellCommand(const std::string& command) : output_(popen(command.c_str(), "r")) {}

std::string ShellCommand::ReadLine(size_t limit) {
    std::vector<char> line(limit + 1, '\0');
    const bool read = fgets(line.data(), static_cast<int>(line.size()), output_.get()) != nullptr;
    output_.reset();
    return read ? line.data() : std::string();
}

}  // namespace TEKLO::QuickFixEngine
