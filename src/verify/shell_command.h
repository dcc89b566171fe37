#pragma once

#include <cstdio>
#include <memory>
#include <string>

namespace TEKLO::QuickFixEngine {

/// A shell command that runs beside its owner from construction on; destruction waits for its end.
class ShellCommand {
public:
    explicit ShellCommand(std::string command);

    /// False when it could not be started, neither at first nor now that the commands before it may have ended.
    bool EnsureStarted();

    /// The output up to its first line feed, that included, cut to `limit` bytes and at a zero byte; then lets the
    /// command end.
    std::string ReadLine(size_t limit);

    /// The output up to its 512th byte; then lets the command end.
    std::string ReadBlock();

private:
    struct PipeCloser {
        void operator()(FILE* pipe) const { pclose(pipe); }
    };
    std::string command_;
    std::unique_ptr<FILE, PipeCloser> output_;
};

}  // namespace TEKLO::QuickFixEngine
