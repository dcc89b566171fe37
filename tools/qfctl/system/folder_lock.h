#pragma once

#include <string>

#include "system/unique_fd.h"

namespace qfctl {

/// A lock that qfctl holds on the folder of a file while it reads or changes that file. It leaves nothing behind and
/// needs no permission but to read the folder; an absent file can be locked too, and every link to a file leads to the
/// same lock. Only qfctl respects it.
class FolderLock {
public:
    /// `operation` is LOCK_SH or LOCK_EX of flock. Waits up to 10 seconds for others.
    FolderLock(const std::string& file, int operation);

    /// Why there is no lock; empty when there is one, or no folder.
    const std::string& GetError() const { return error_; }

    /// True when the reason is that the user may not read the folder.
    bool IsDenied() const { return isDenied_; }

private:
    UniqueFd folder_;
    std::string error_;
    bool isDenied_ = false;
};

}  // namespace qfctl
