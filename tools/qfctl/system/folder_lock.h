#pragma once

#include <string>

#include "system/unique_fd.h"

namespace qfctl {

/// Locks the directory of a file while qfctl reads or changes the file. Creates no lock file, needs only read
/// permission for the directory, and works for a missing file. All symbolic links to a file share the lock; hard links
/// in other directories do not. Only qfctl respects the lock.
class FolderLock {
public:
    /// `operation` is LOCK_SH or LOCK_EX of flock. Waits up to 10 seconds. Throws Failure if it can't lock. Takes no
    /// lock if the directory does not exist or, with LOCK_SH, if the user can't read the directory.
    FolderLock(const std::string& file, int operation);

private:
    UniqueFd folder_;
};

}  // namespace qfctl
