#include "file_utils.h"

#include <gtest/gtest.h>
#include <sys/statfs.h>
#include <sys/wait.h>
#include <unistd.h>

#include "support/files.h"
#include "support/limits.h"
#include "support/plume_capture.h"

namespace fs = std::filesystem;
using namespace TEKLO::QuickFixEngine;

namespace {

TEST(FileQueries, DiskFreeSpace) {
    if (!IsOnSmallDisk(LOG_DIR)) {
        GTEST_SKIP() << "others may write to this disk";
    }
    struct statfs status = {};
    ASSERT_EQ(statfs(LOG_DIR, &status), 0);
    const int expected = static_cast<int>(status.f_bavail * static_cast<uint64_t>(status.f_bsize) / 1024);
    Write("/tmp/file", "");
    PlumeCapture capture;
    EXPECT_EQ(FileUtils::GetDiskFreeSpace(LOG_DIR), expected);
    EXPECT_EQ(FileUtils::GetDiskFreeSpace("/tmp/file"), -1);
    EXPECT_EQ(capture.Take(),
              (Records{"I GetDiskFreeSpace: Util GetDiskFreeSpace disk free: " + std::to_string(expected) + " kb",
                       "E GetDiskFreeSpace: GetDiskFreeSpace failed"}));
}

// Only what may be a regular file is asked for its size: in a folder that may be listed but not searched, nothing else is.
TEST(FileQueries, DirSizePassesOverAPipeInAFolderThatCannotBeSearched) {
    fs::create_directory("/tmp/listed");
    ASSERT_EQ(mkfifo("/tmp/listed/pipe", 0600), 0);
    fs::permissions("/tmp/listed", fs::perms(0444));
    const pid_t child = fork();
    if (child == 0) {
        const bool ordinary = geteuid() != 0 || setuid(65534) == 0;
        _exit(ordinary && access("/tmp/listed/pipe", F_OK) != 0 && FileUtils::GetDirSize("/tmp/listed") == 0 ? 0 : 1);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
}

// Behind 4092 bytes of path "/.." is the 4095th; one more, and even the entry that is passed over doesn't fit.
TEST(FileChanges, CleanDirStopsWhereThePathLimitIs) {
    for (const auto& [length, cleaned] : {std::pair(4092U, true), std::pair(4093U, false)}) {
        std::string path = "/tmp";
        while (path.size() < length) {
            const size_t left = length - path.size();
            path += "/" + std::string(left > 201 ? 100 : left - 1, 'd');
            fs::create_directory(path);
        }
        EXPECT_EQ(FileUtils::CleanDir(path.c_str(), true), cleaned);
        EXPECT_EQ(fs::exists(path), !cleaned);
    }
}

TEST(FileChanges, CopyIntoItselfGoesOnUpToThePathLimit) {
    Write("/tmp/self/file", "x");
    PlumeCapture capture;
    EXPECT_FALSE(FileUtils::CopyDir("/tmp/self/", "/tmp/self/copy/"));
    EXPECT_EQ(capture.Take().front().rfind("E CopyDir: mkdir failed, path: /tmp/self/copy/copy/", 0), 0U);
}

TEST(FileChanges, WalksGoAsDeepAsThePathLimitWithFewDescriptors) {
    fs::create_directory("/tmp/copy");
    std::string path = "/tmp/deep";
    for (int level = 0; level < 2000; ++level) {
        fs::create_directory(path);
        path += "/d";
    }
    Write(path, std::string(2048, 'x'));
    const DescriptorLimit limit(64);
    EXPECT_EQ(FileUtils::GetDirSize("/tmp/deep"), 2U);
    EXPECT_TRUE(FileUtils::CopyDir("/tmp/deep/", "/tmp/copy/"));
    EXPECT_EQ(FileUtils::GetDirSize("/tmp/copy"), 2U);
    EXPECT_TRUE(FileUtils::CleanDir("/tmp/deep", true));
    EXPECT_FALSE(fs::exists("/tmp/deep"));
}

}  // namespace
