#pragma once

#include <string>

#include "system/unique_fd.h"

namespace qfctl {

/// A lock that qfctl holds on the folder of a file while it reads or changes that file. It leaves nothing behind and
/// needs no permission but to read the folder; an absent file can be locked too, and every link to a file leads to the
/// same lock. Only qfctl respects it.
class FolderLock {
public:
    /// `operation` is LOCK_SH or LOCK_EX of flock. Waits up to 10 seconds for others. Throws Failure when there is no
    /// lock, unless there is no folder, or it is a shared one and the user may not read the folder.
    FolderLock(const std::string& file, int operation);

private:
    UniqueFd folder_;
};

}  // namespace qfctl
