#pragma once

#include <cstdio>
#include <functional>
#include <memory>
#include <string>

namespace TEKLO::QuickFixEngine {

/// A file to digest, or the error of opening it.
struct DigestSource {
    struct Closer {
        void operator()(FILE* stream) const { fclose(stream); }
    };

    /// Takes ownership of an open file. If it is null, stores errno.
    void SetFile(FILE* opened);
    void SetDescriptor(int descriptor);

    bool exists = false;
    int error = 0;
    std::unique_ptr<char[]> buffer;  // outlives the file, which reads into it
    std::unique_ptr<FILE, Closer> file;
};

struct FileDigest {
    std::string text;         // as FileUtils::GetFileSHA256 returns it
    bool isComplete = false;  // the file was read to its end, and all digits were formatted
};

/// Digests the file that `open` provides, and logs what FileUtils::GetFileSHA256 logs.
FileDigest GetFileSHA256(const std::string& filePath, const std::function<const DigestSource&()>& open);

}  // namespace TEKLO::QuickFixEngine
