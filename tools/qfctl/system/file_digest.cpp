// The incremental digest calls are deprecated, not removed: they need no allocation and can't fail.
#define OPENSSL_SUPPRESS_DEPRECATED

#include "system/file_digest.h"

#include <fcntl.h>
#include <openssl/sha.h>
#include <sys/stat.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <vector>

#include "system/unique_fd.h"

namespace qfctl {
namespace {

FileDigest Failure(int number) {
    return {"", strerror(number), number};
}

FileDigest NotRegular() {
    return {"", "not a regular file", 0};
}

}  // namespace

bool FileDigest::IsAbsent() const {
    return number == ENOENT || number == ENOTDIR;
}

FileDigest ComputeDigest(const std::string& path) {
    // Opening a device may already change something.
    struct stat status = {};
    if (stat(path.c_str(), &status) != 0) {
        return Failure(errno);
    }
    if (!S_ISREG(status.st_mode)) {
        return NotRegular();
    }
    const UniqueFd file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
    if (!file.IsOpen() || fstat(file.Get(), &status) != 0) {
        return Failure(errno);
    }
    if (!S_ISREG(status.st_mode)) {
        return NotRegular();
    }
    SHA256_CTX context = {};
    SHA256_Init(&context);
    std::vector<char> block(1U << 20);
    ssize_t count = 0;
    while ((count = TEMP_FAILURE_RETRY(read(file.Get(), block.data(), block.size()))) > 0) {
        SHA256_Update(&context, block.data(), static_cast<size_t>(count));
    }
    if (count < 0) {
        return Failure(errno);
    }
    std::array<unsigned char, SHA256_DIGEST_LENGTH> digest = {};
    SHA256_Final(digest.data(), &context);
    std::string text;
    for (const unsigned int byte : digest) {
        text += "0123456789abcdef"[byte >> 4];
        text += "0123456789abcdef"[byte & 0xf];
    }
    return {text, "", 0};
}

}  // namespace qfctl
