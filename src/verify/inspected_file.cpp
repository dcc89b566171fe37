#include "inspected_file.h"

#include <fcntl.h>
#include <linux/limits.h>
#include <sys/xattr.h>

#include <algorithm>
#include <cerrno>
#include <utility>

namespace TEKLO::QuickFixEngine {
namespace {

constexpr char LABEL_ATTRIBUTE[] = "security.selinux";
constexpr char NO_LABEL[] = "?";
constexpr size_t LABEL_SIZE = 256;
constexpr size_t MAX_LABEL_LENGTH = 1023;

char TypeCharacter(mode_t mode) {
    switch (mode & S_IFMT) {
        case S_IFDIR:
            return 'd';
        case S_IFLNK:
            return 'l';
        case S_IFIFO:
            return 'p';
        case S_IFSOCK:
            return 's';
        case S_IFCHR:
            return 'c';
        case S_IFBLK:
            return 'b';
        default:
            return '-';
    }
}

std::string FormatMode(mode_t mode) {
    std::string text = "-rwxrwxrwx";
    text[0] = TypeCharacter(mode);
    for (size_t i = 1; i < text.size(); ++i) {
        if ((mode & (0400U >> (i - 1))) == 0) {
            text[i] = '-';
        }
    }
    struct SpecialBit {
        mode_t bit;
        size_t position;
        char withExecute;
        char withoutExecute;
    };
    for (const SpecialBit& special :
         {SpecialBit{S_ISUID, 3, 's', 'S'}, {S_ISGID, 6, 's', 'S'}, {S_ISVTX, 9, 't', 'T'}}) {
        if ((mode & special.bit) != 0) {
            text[special.position] = text[special.position] == 'x' ? special.withExecute : special.withoutExecute;
        }
    }
    return text;
}

/// Returns 0 for a regular file, otherwise the errno value that is logged for its type.
int ErrorOfType(mode_t mode) {
    switch (mode & S_IFMT) {
        case S_IFREG:
            return 0;
        case S_IFDIR:
            return EISDIR;
        case S_IFLNK:
            return ELOOP;
        default:
            return EINVAL;
    }
}

/// Cuts a label as `ReadLineOf` cuts the output of `ls -Z`: at a zero byte, after the first line feed, and to 1023
/// bytes.
std::string TruncateLabel(const std::string& label) {
    const std::string text = label.substr(0, label.find('\0'));
    const size_t lineFeed = text.find('\n');
    return text.substr(0, std::min(MAX_LABEL_LENGTH, lineFeed == std::string::npos ? lineFeed : lineFeed + 1));
}

}  // namespace

InspectedFile::InspectedFile(std::string path) : path_(std::move(path)) {
    if (lstat(path_.c_str(), &status_) != 0) {
        source_.error = errno;
        return;
    }
    source_.exists = true;
    // Checks the type before opening, because opening some devices has side effects.
    source_.error = ErrorOfType(status_.st_mode);
    if (source_.error == 0) {
        Open();
    }
}

void InspectedFile::Open() {
    int descriptor = -1;
    do {
        descriptor = open(path_.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    } while (descriptor < 0 && errno == EINTR);
    if (descriptor < 0) {
        source_.error = errno;
        source_.exists = source_.error != ENOENT;
        return;
    }
    source_.SetDescriptor(descriptor);
    if (source_.file == nullptr) {
        return;
    }
    const int error = fstat(descriptor, &status_) == 0 ? ErrorOfType(status_.st_mode) : errno;
    if (error != 0) {
        source_.file.reset();
        source_.error = error;
    }
}

bool InspectedFile::IsAbsent() const {
    return !source_.exists && (source_.error == ENOENT || source_.error == ENOTDIR);
}

FileValue InspectedFile::Digest() const {
    FileDigest digest = GetFileSHA256(path_, [this]() -> const DigestSource& { return source_; });
    if (source_.file != nullptr) {
        return digest.isComplete ? FileValue{std::move(digest.text)} : FileValue{"", false};
    }
    return {"", IsAbsent() || (source_.exists && !S_ISREG(status_.st_mode))};
}

FileValue InspectedFile::Mode() const {
    return source_.exists ? FileValue{FormatMode(status_.st_mode)} : FileValue{"", IsAbsent()};
}

FileValue InspectedFile::Label() const {
    if (!source_.exists) {
        return {"", IsAbsent()};
    }
    const auto read = [this](char* label, size_t size) {
        return source_.file != nullptr ? fgetxattr(fileno(source_.file.get()), LABEL_ATTRIBUTE, label, size)
                                       : lgetxattr(path_.c_str(), LABEL_ATTRIBUTE, label, size);
    };
    std::string label(LABEL_SIZE, '\0');
    ssize_t length = read(label.data(), label.size());
    if (length < 0 && errno == ERANGE) {
        label.resize(XATTR_SIZE_MAX);
        length = read(label.data(), label.size());
    }
    if (length <= 0) {
        return {NO_LABEL, length == 0 || errno == ENODATA || errno == ENOTSUP};
    }
    return {TruncateLabel(label.substr(0, static_cast<size_t>(length)))};
}

}  // namespace TEKLO::QuickFixEngine
