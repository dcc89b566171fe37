#pragma once

#include <cstddef>
#include <string>

#include "system/unique_fd.h"

namespace qfctl {

/// A line on standard error that shows how far a run is; nothing where standard error is not a terminal.
class ProgressLine {
public:
    /// One that prints nothing.
    ProgressLine() = default;
    explicit ProgressLine(size_t total);
    ~ProgressLine();
    ProgressLine(const ProgressLine&) = delete;
    ProgressLine& operator=(const ProgressLine&) = delete;

    void Count(const std::string& item);

private:
    void Print(const std::string& text) const;

    size_t total_ = 0;
    size_t done_ = 0;
    UniqueFd terminal_;  // a duplicate, which outlives a redirection of standard error
};

}  // namespace qfctl
