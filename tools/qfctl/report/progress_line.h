#pragma once

#include <cstddef>
#include <string>

#include "system/unique_fd.h"

namespace qfctl {

/// Shows the progress of a run on standard error, if that is a terminal.
class ProgressLine {
public:
    /// Prints nothing.
    ProgressLine() = default;
    /// `total` is 0 if it is unknown.
    explicit ProgressLine(size_t total);
    ~ProgressLine();
    ProgressLine(const ProgressLine&) = delete;
    ProgressLine& operator=(const ProgressLine&) = delete;

    void Count(const std::string& item);

private:
    void Print(const std::string& text) const;

    size_t total_ = 0;
    size_t done_ = 0;
    UniqueFd terminal_;  // a duplicate, because the run redirects standard error
};

}  // namespace qfctl
