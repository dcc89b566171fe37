#pragma once

#include <string>

namespace qfctl {

/// The SHA-256 digest of a regular file that was read to its end, 64 lower-case hexadecimal digits. Unlike the library's
/// digest it does not take a read error for the end of the file, and does not wait for a pipe. Throws Failure: FAILED
/// when there is no such file, else NOT_CHECKED.
std::string ComputeDigest(const std::string& path);

}  // namespace qfctl
