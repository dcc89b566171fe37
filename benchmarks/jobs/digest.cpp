#include <fcntl.h>
#include <openssl/evp.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <vector>

#include "file_utils.h"
#include "jobs/jobs.h"

namespace bench {
namespace {

using TEKLO::QuickFixEngine::FileUtils;

constexpr char DIGEST_FILE[] = "/tmp/digest";

std::string Hexadecimal(const unsigned char* bytes, size_t count) {
    std::string text;
    for (size_t i = 0; i < count; ++i) {
        char digits[3] = {};
        (void)snprintf(digits, sizeof(digits), "%02x", bytes[i]);
        text += digits;
    }
    return text;
}

std::string EvpDigest(std::vector<char>& block) {
    const int file = open(DIGEST_FILE, O_RDONLY | O_CLOEXEC);
    EVP_MD_CTX* context = EVP_MD_CTX_new();
    EVP_DigestInit_ex(context, EVP_sha256(), nullptr);
    for (ssize_t count = 0; (count = read(file, block.data(), block.size())) > 0;) {
        EVP_DigestUpdate(context, block.data(), static_cast<size_t>(count));
    }
    unsigned char digest[EVP_MAX_MD_SIZE] = {};
    unsigned int length = 0;
    EVP_DigestFinal_ex(context, digest, &length);
    EVP_MD_CTX_free(context);
    close(file);
    return Hexadecimal(digest, length);
}

void DigestLibrary(benchmark::State& state) {
    for ([[maybe_unused]] auto _ : state) {
        benchmark::DoNotOptimize(FileUtils::GetFileSHA256(DIGEST_FILE));
    }
}

void DigestEvp(benchmark::State& state) {
    std::vector<char> block(64 * 1024);
    for ([[maybe_unused]] auto _ : state) {
        benchmark::DoNotOptimize(EvpDigest(block));
    }
    Require(EvpDigest(block) == FileUtils::GetFileSHA256(DIGEST_FILE), "the same digest from EVP");
}

/// A file without a block on the disk, so that making it takes no memory.
void MakeHole(const std::string& path, uintmax_t size) {
    std::ofstream(path).close();
    std::filesystem::resize_file(path, size);
}

long PeakKib() {
    rusage usage = {};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss;
}

}  // namespace

Comparison CompareDigest() {
    WriteFile(DIGEST_FILE, 64U << 20);
    return {
        "digest",
        "Digest of 64 MiB",
        MILLISECONDS,
        ROUNDS,
        {Ours("library", "DigestLibrary", DigestLibrary), Other("EVP, 64 KiB reads", "DigestEvp", DigestEvp)},
        {{0, 1, Relation::SPEED}},
    };
}

long DigestGrowthKib() {
    MakeHole("/tmp/small", 1U << 20);
    MakeHole("/tmp/large", 1ULL << 30);
    Require(!FileUtils::GetFileSHA256("/tmp/small").empty(), "the digest of 1 MiB");
    const long before = PeakKib();
    Require(!FileUtils::GetFileSHA256("/tmp/large").empty(), "the digest of 1 GiB");
    std::filesystem::remove("/tmp/large");
    return PeakKib() - before;
}

}  // namespace bench
