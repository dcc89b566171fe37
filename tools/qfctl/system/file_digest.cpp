// OpenSSL 3.0 deprecates SHA256_Init, SHA256_Update and SHA256_Final. They need no allocation and can't fail.
#define OPENSSL_SUPPRESS_DEPRECATED

#include "system/file_digest.h"

#include <fcntl.h>
#include <openssl/sha.h>
#include <sys/stat.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <vector>

#include "failure.h"
#include "system/unique_fd.h"

namespace qfctl {
namespace {

[[noreturn]] void ThrowSystemFailure(int number) {
    const bool isAbsent = number == ENOENT || number == ENOTDIR;
    throw Failure(isAbsent ? ExitCode::FAILED : ExitCode::NOT_CHECKED, strerror(number));
}

void RequireRegular(const struct stat& status) {
    if (!S_ISREG(status.st_mode)) {
        throw Failure(ExitCode::NOT_CHECKED, "not a regular file");
    }
}

}  // namespace

std::string ComputeDigest(const std::string& path) {
    // Opening a device can have side effects.
    struct stat status = {};
    if (stat(path.c_str(), &status) != 0) {
        ThrowSystemFailure(errno);
    }
    RequireRegular(status);
    const UniqueFd file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
    if (!file.IsOpen() || fstat(file.Get(), &status) != 0) {
        ThrowSystemFailure(errno);
    }
    RequireRegular(status);
    SHA256_CTX context = {};
    SHA256_Init(&context);
    std::vector<char> block(1U << 20);
    ssize_t count = 0;
    while ((count = TEMP_FAILURE_RETRY(read(file.Get(), block.data(), block.size()))) > 0) {
        SHA256_Update(&context, block.data(), static_cast<size_t>(count));
    }
    if (count < 0) {
        ThrowSystemFailure(errno);
    }
    std::array<unsigned char, SHA256_DIGEST_LENGTH> digest = {};
    SHA256_Final(digest.data(), &context);
    std::string text;
    for (const unsigned int byte : digest) {
        text += "0123456789abcdef"[byte >> 4];
        text += "0123456789abcdef"[byte & 0xf];
    }
    return text;
}

}  // namespace qfctl
