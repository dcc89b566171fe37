#pragma once

#include <exception>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

namespace qfctl {

/// Scripts rely on these numbers, so they never change.
enum class ExitCode {
    DONE = 0,         // all passed, found, or done
    FAILED = 1,       // a check or action failed, or the requested item is absent
    USAGE = 2,        // usage error
    NOT_CHECKED = 3,  // an item could not be checked or read
    NOT_ARRIVED = 4,  // the awaited event did not arrive
};

/// An error with an exit code. `Attempt` prints its messages on standard error and returns the code.
class Failure : public std::exception {
public:
    Failure(ExitCode code, std::string message) : Failure(code, std::vector<std::string>{std::move(message)}) {}
    Failure(ExitCode code, std::vector<std::string> messages) : code_(code), messages_(std::move(messages)) {}

    ExitCode GetCode() const { return code_; }
    const std::vector<std::string>& GetMessages() const { return messages_; }
    const char* what() const noexcept override { return messages_.empty() ? "" : messages_.front().c_str(); }

    /// Returns this failure with `context` in front of each message.
    Failure In(const std::string& context) const;

private:
    ExitCode code_;
    std::vector<std::string> messages_;
};

/// Calls `action`. If it throws a Failure, rethrows it with `context` in front of each message.
template <typename Action>
auto WithContext(const std::string& context, Action action) {
    try {
        return action();
    } catch (const Failure& failure) {
        throw failure.In(context);
    }
}

/// Prints the messages on standard error and returns the code.
ExitCode PrintFailure(const Failure& failure);

/// Prints an exception of a library, for example std::bad_alloc, on standard error and returns NOT_CHECKED.
ExitCode PrintException(const std::exception& error);

/// Calls `action`, which returns void or an ExitCode. If it throws, prints the exception and returns the code of the
/// Failure, or NOT_CHECKED.
template <typename Action>
ExitCode Attempt(Action action) {
    try {
        if constexpr (std::is_void_v<decltype(action())>) {
            action();
            return ExitCode::DONE;
        } else {
            return action();
        }
    } catch (const Failure& failure) {
        return PrintFailure(failure);
    } catch (const std::exception& error) {
        return PrintException(error);
    }
}

}  // namespace qfctl
