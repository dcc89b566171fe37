#pragma once

#include <string>

namespace qfctl {

/// Returns the SHA-256 digest of a regular file in 64 lower-case hexadecimal digits. Unlike the library, it does not
/// treat a read error as the end of the file, and does not wait for a pipe. Throws Failure: FAILED if the file does not
/// exist, NOT_CHECKED for any other error.
std::string ComputeDigest(const std::string& path);

}  // namespace qfctl
