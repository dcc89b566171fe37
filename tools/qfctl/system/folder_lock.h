#pragma once

#include <string>

#include "system/unique_fd.h"

namespace qfctl {

/// A lock on the folder of a file while qfctl reads or changes that file. It creates no lock file, needs only read
/// permission for the folder, works for a file that does not exist, and is the same for all symbolic links to a file, though not for hard links in other folders. Only qfctl
/// respects it.
class FolderLock {
public:
    /// `operation` is LOCK_SH or LOCK_EX of flock. Waits up to 10 seconds for others. Throws Failure when it
    /// can't lock. Locks nothing when the folder does not exist, or for LOCK_SH when the user may not read it.
    FolderLock(const std::string& file, int operation);

private:
    UniqueFd folder_;
};

}  // namespace qfctl
