#include "file_utils.h"

#include <gtest/gtest.h>
#include <sys/statfs.h>
#include <unistd.h>

#include "support/files.h"
#include "support/limits.h"
#include "support/plume_capture.h"

namespace fs = std::filesystem;
using namespace TEKLO::QuickFixEngine;

namespace {

TEST(FileQueries, DiskFreeSpace) {
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
