#include "shell_command.h"

#include <array>
#include <cerrno>
#include <utility>

namespace TEKLO::QuickFixEngine {
namespace {

/// True, with the stream ready to go on, when a signal that the process caught ended a read.
bool WasInterrupted(FILE* pipe) {
    const bool interrupted = ferror(pipe) != 0 && errno == EINTR;
    if (interrupted) {
        clearerr(pipe);
    }
    return interrupted;
}

}  // namespace

ShellCommand::ShellCommand(std::string command) : command_(std::move(command)), output_(popen(command_.c_str(), "r")) {}

bool ShellCommand::EnsureStarted() {
    if (output_ == nullptr) {
        output_.reset(popen(command_.c_str(), "r"));
    }
    return output_ != nullptr;
}

std::string ShellCommand::ReadLine(size_t limit) {
    std::string line;
    while (line.size() < limit && (line.empty() || line.back() != '\n')) {
        const int character = getc(output_.get());
        if (character != EOF) {
            line += static_cast<char>(character);
        } else if (!WasInterrupted(output_.get())) {
            break;
        }
    }
    output_.reset();
    return line.substr(0, line.find('\0'));
}

std::string ShellCommand::ReadBlock() {
    std::array<char, 512> block = {};
    size_t count = 0;
    do {
        count += fread(block.data() + count, 1, block.size() - count, output_.get());
    } while (count < block.size() && WasInterrupted(output_.get()));
    output_.reset();
    return {block.data(), count};
}

}  // namespace TEKLO::QuickFixEngine
