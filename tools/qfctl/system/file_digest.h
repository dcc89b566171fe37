#pragma once

#include <string>

namespace qfctl {

/// The SHA-256 digest of a file that was read to its end, or why there is none.
struct FileDigest {
    std::string text;   // 64 lower-case hexadecimal digits; empty when there is none
    std::string error;  // such as "Permission denied"
    int number = 0;     // its errno, 0 for a file that is not regular

    bool IsKnown() const { return !text.empty(); }
    bool IsAbsent() const;
};

/// Unlike the library's digest this one takes no read error for the end of the file, and waits for no pipe: only
/// regular files are read.
FileDigest ComputeDigest(const std::string& path);

}  // namespace qfctl
