#include "file_utils.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/statfs.h>
#include <unistd.h>

#include <algorithm>
#include <climits>

#include "support/files.h"
#include "support/limits.h"
#include "support/plume_capture.h"

namespace fs = std::filesystem;
using namespace TEKLO::QuickFixEngine;

namespace {

constexpr char EMPTY_DIGEST[] = "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855";

TEST(FileQueries, ExistenceAndValidity) {
    Write("/tmp/file", "x");
    fs::create_symlink("/tmp/nowhere", "/tmp/dangling");
    PlumeCapture capture;
    EXPECT_TRUE(FileUtils::FileIsExist("/tmp/file") && FileUtils::FileIsExist("/tmp") && FileUtils::DirIsExist("/tmp"));
    EXPECT_TRUE(FileUtils::IsValidPath("data/x") && FileUtils::IsValidPath("/data/./x.y"));
    EXPECT_FALSE(FileUtils::DirIsExist("/tmp/file"));
    for (const std::string& path :
         {std::string("/tmp/dangling"), std::string("/tmp/file/below"), std::string(5000, 'x')}) {
        EXPECT_FALSE(FileUtils::FileIsExist(path) || FileUtils::DirIsExist(path)) << path;
    }
    EXPECT_EQ(capture.Take(), Records{});
    EXPECT_FALSE(FileUtils::FileIsExist("") || FileUtils::IsValidPath("") || FileUtils::IsValidPath("/data/a..b"));
    EXPECT_EQ(capture.Take(), (Records{"E FileIsExist: filePath is empty", "E IsValidPath: path is empty",
                                       "I IsValidPath: path: /data/a..b is an invalid path"}));
}

TEST(FileQueries, MakeDirAndMakeFile) {
    umask(022);
    PlumeCapture capture;
    EXPECT_TRUE(FileUtils::MakeDir("/tmp/dir", 0777));
    EXPECT_EQ(Mode("/tmp/dir"), 0755U);
    EXPECT_FALSE(FileUtils::MakeDir("/tmp/dir", 0700));
    EXPECT_FALSE(FileUtils::MakeDir("/tmp/a/b", 0700));
    EXPECT_TRUE(FileUtils::MakeFile("/tmp/file", "long text"));
    EXPECT_TRUE(FileUtils::MakeFile("/tmp/file", std::string("a\0b", 3)));
    EXPECT_EQ(Read("/tmp/file"), std::string("a\0b", 3));
    EXPECT_TRUE(FileUtils::MakeFile("/dev/full", "x"));
    EXPECT_FALSE(FileUtils::MakeFile("/tmp/a/b", ""));
    EXPECT_EQ(capture.Take(),
              (Records{"E MakeDir: Util mkdir result= -1, errinfo= File exists, path= /tmp/dir ",
                       "E MakeDir: Util mkdir result= -1, errinfo= No such file or directory, path= /tmp/a/b ",
                       "E MakeFile: Failed to open /tmp/a/b"}));
}

TEST(FileQueries, FileSize) {
    Write("/tmp/file", std::string(1536, 'x'));
    Write("/tmp/huge", "");
    fs::resize_file("/tmp/huge", (2ULL << 30) + 5);
    PlumeCapture capture;
    const auto size = [](const char* path, int unit) {
        return FileUtils::GetFileSize(path, static_cast<FileSizeUnit>(unit));
    };
    const int sizes[] = {size("/tmp/file", 0), size("/tmp/file", 1), size("/tmp/file", 2),    size("/tmp/file", 3),
                         size("/tmp/huge", 0), size("/tmp/huge", 2), size("/tmp/missing", 0), size("", 0)};
    EXPECT_THAT(sizes, testing::ElementsAre(1536, 1, 0, -1, INT_MIN + 5, 2048, -1, -1));
    const std::string text = "I GetFileSize: Util GetFileSize, /tmp/";
    EXPECT_EQ(capture.Take(),
              (Records{text + "file size 1536 ", text + "file size 1 ", text + "file size 0 ", text + "file size -1 ",
                       text + "huge size -2147483643 ", text + "huge size 2048 ", "E GetFileSize: GetFileSize failed",
                       "E FileIsExist: filePath is empty", "E GetFileSize: GetFileSize failed"}));
}

TEST(FileQueries, LargeFilesAndLateTimes) {
    fs::create_directories("/tmp/late/dir");
    Write("/tmp/late/dir/file", "");
    fs::resize_file("/tmp/late/dir/file", 3ULL << 30);
    const timespec past2038 = {static_cast<time_t>(2500000000), 0};
    const timespec times[] = {past2038, past2038};
    for (const char* path : {"/tmp/late/dir/file", "/tmp/late/dir", "/tmp/late"}) {
        ASSERT_EQ(utimensat(AT_FDCWD, path, times, 0), 0);
    }
    ASSERT_GT(Stat("/tmp/late/dir/file").st_mtime, 2400000000);
    EXPECT_EQ(FileUtils::GetDirSize("/tmp/late"), 3U << 20);
    EXPECT_EQ(FileUtils::GetFileSize("/tmp/late/dir/file", FileSizeUnit::MB), 3072);
    EXPECT_TRUE(FileUtils::DirIsExist("/tmp/late/dir"));
    EXPECT_TRUE(FileUtils::FileIsExist("/tmp/late/dir/file"));
    EXPECT_GE(FileUtils::GetDiskFreeSpace("/tmp/late"), 0);
    std::fstream stream;
    EXPECT_TRUE(FileUtils::OpenFile(stream, "/tmp/late/dir/file", std::ios::in, 0600));
    EXPECT_TRUE(FileUtils::CleanDir("/tmp/late", false));
    EXPECT_EQ(Stat("/tmp/late/dir").st_mode, 0U);
}

TEST(FileQueries, DirSizeCountsFilesAndLinkedFilesButNotLinkedFolders) {
    PlumeCapture capture;
    Write("/tmp/dir/a", std::string(1023, 'x'));
    EXPECT_EQ(FileUtils::GetDirSize("/tmp/dir"), 0U);
    Write("/tmp/dir/sub/b", std::string(1023, 'x'));
    EXPECT_EQ(FileUtils::GetDirSize("/tmp/dir"), 1U);
    fs::create_symlink("/tmp/dir/a", "/tmp/dir/link");
    fs::create_symlink("/tmp/nowhere", "/tmp/dir/dangling");
    fs::create_directory_symlink("/tmp/dir/sub", "/tmp/dir/linked");
    EXPECT_EQ(FileUtils::GetDirSize("/tmp/dir"), 2U);
    EXPECT_EQ(capture.Take(), Records{});
    EXPECT_EQ(FileUtils::GetDirSize("/tmp/dir/a"), 0U);
    EXPECT_EQ(FileUtils::GetDirSize("/tmp/missing"), 0U);
    EXPECT_EQ(capture.Take(), (Records{"E GetDirSize: invalid path", "E GetDirSize: invalid path"}));
    fs::create_symlink("loop", "/tmp/dir/loop");
    EXPECT_THROW(FileUtils::GetDirSize("/tmp/dir"), fs::filesystem_error);
}

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

TEST(FileChanges, CleanDir) {
    PlumeCapture capture;
    EXPECT_FALSE(FileUtils::CleanDir(nullptr, true));
    EXPECT_EQ(capture.Take(), Records{"E CleanDir: CleanDir fail, dirPath is null"});
    EXPECT_TRUE(FileUtils::CleanDir("/tmp/missing", false));

    Write("/tmp/dir/sub/deep/file", "x");
    Write("/tmp/target/file", "x");
    fs::create_directory_symlink("/tmp/target", "/tmp/dir/link");
    fs::create_symlink("/tmp/nowhere", "/tmp/dir/dangling");
    EXPECT_TRUE(FileUtils::CleanDir("/tmp/dir/", false));
    EXPECT_TRUE(fs::is_empty("/tmp/dir"));
    EXPECT_TRUE(fs::is_empty("/tmp/target"));
    EXPECT_TRUE(FileUtils::CleanDir("/tmp/dir", true));
    EXPECT_FALSE(fs::exists("/tmp/dir"));

    Write("/tmp/file", "x");
    EXPECT_TRUE(FileUtils::CleanDir("/tmp/file", false));
    EXPECT_FALSE(fs::exists("/tmp/file"));
    EXPECT_EQ(capture.Take(), Records{});
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

TEST(FileChanges, RenameAndOpen) {
    PlumeCapture capture;
    std::fstream stream;
    EXPECT_TRUE(FileUtils::OpenFile(stream, "/tmp/file", std::ios::out | std::ios::trunc, 0640));
    EXPECT_EQ(Mode("/tmp/file"), 0640U);
    EXPECT_TRUE(FileUtils::RenameFile("/tmp/file", "/tmp/new"));
    stream.close();
    fs::create_directory("/tmp/dir");
    EXPECT_FALSE(FileUtils::OpenFile(stream, "/tmp/dir", std::ios::out, 0711));
    EXPECT_EQ(Mode("/tmp/dir"), 0711U) << "the mode is set in any case";
    EXPECT_TRUE(FileUtils::OpenFile(stream, "/tmp/new", std::ios::in, 0600)) << "a failure before doesn't stick";
    EXPECT_EQ(capture.Take(), Records{});
    EXPECT_FALSE(FileUtils::RenameFile("/tmp/missing", "/tmp/new"));
    EXPECT_FALSE(FileUtils::OpenFile(stream, "/tmp/../x", std::ios::out, 0600));
    EXPECT_EQ(capture.Take(),
              (Records{"E RenameFile: rename failed: /tmp/new", "I IsValidPath: path: /tmp/../x is an invalid path",
                       "E OpenFile: path: /tmp/../x is an invalid path"}));
}

TEST(FileChanges, Ownership) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "giving a file away takes root";
    }
    ASSERT_EQ(chown("/data/update/quickfix", 1234, 2345), 0);
    unsigned int first = 1;
    unsigned int second = 1;
    FileUtils::GetPathGidAndUid("/data/update/quickfix", first, second);
    EXPECT_EQ(first, 1234U);
    EXPECT_EQ(second, 2345U);
    Write("/tmp/file", "");
    FileUtils::SetGidAndUidToQuickFix("/tmp/file");
    EXPECT_EQ(Stat("/tmp/file").st_uid, 1234U);
    EXPECT_EQ(Stat("/tmp/file").st_gid, 2345U);
    FileUtils::GetPathGidAndUid("/tmp/missing", first, second);
    EXPECT_EQ(first + second, 0U);
}

TEST(FileCopies, CopyFile) {
    for (const size_t size : {size_t{1}, size_t{131072}, size_t{131073}, size_t{1000001}}) {
        std::string content(size, '\0');
        std::generate(content.begin(), content.end(), [i = 0]() mutable { return static_cast<char>(i += 7); });
        Write("/tmp/source", content);
        EXPECT_TRUE(FileUtils::CopyFile("/tmp/source", "/tmp/dest"));
        EXPECT_TRUE(Read("/tmp/dest") == content) << size;
    }
    Write("/tmp/empty", "");
    PlumeCapture capture;
    EXPECT_FALSE(FileUtils::CopyFile("/tmp/empty", "/tmp/dest"));
    EXPECT_EQ(Read("/tmp/dest"), "");
    EXPECT_FALSE(FileUtils::CopyFile("/tmp/source", "/tmp/missing/dest"));
    EXPECT_FALSE(FileUtils::CopyFile("/tmp/missing", "/tmp/untouched"));
    EXPECT_FALSE(fs::exists("/tmp/untouched"));
    EXPECT_EQ(capture.Take(), Records{"E CopyFile: realpath failed: /tmp/missing"});
}

// The disk holds 1 MiB: a copy that it can't take whole is no copy, whether it is cut in its first or a later block.
TEST(FileCopies, CopyToAFullDiskFails) {
    Write("/tmp/large", std::string(3U << 20, 'x'));
    Write("/tmp/small", "x");
    const std::string dir = LOG_DIR;
    EXPECT_FALSE(FileUtils::CopyFile("/tmp/large", dir + "large"));
    EXPECT_FALSE(FileUtils::CopyFile("/tmp/large", dir + "large2"));
    EXPECT_FALSE(FileUtils::CopyFile("/tmp/small", dir + "small"));
    fs::remove(dir + "large");
    EXPECT_TRUE(FileUtils::CopyFile("/tmp/small", dir + "small"));
}

TEST(FileCopies, CopyDir) {
    umask(022);
    Write("/tmp/source/a", "new");
    Write("/tmp/source/sub/b", "b");
    fs::create_symlink("a", "/tmp/source/link");
    Write("/tmp/dest/a", "old, and longer");
    Write("/tmp/dest/kept", "kept");
    PlumeCapture capture;
    EXPECT_TRUE(FileUtils::CopyDir("/tmp/source/", "/tmp/dest/"));
    EXPECT_EQ(Read("/tmp/dest/a") + Read("/tmp/dest/sub/b") + Read("/tmp/dest/kept"), "newbkept");
    EXPECT_TRUE(fs::is_regular_file(fs::symlink_status("/tmp/dest/link")));
    EXPECT_EQ(Mode("/tmp/dest/sub"), 0755U);
    EXPECT_EQ(capture.Take(), Records{});

    EXPECT_FALSE(FileUtils::CopyDir("/tmp/missing/", "/tmp/dest/"));
    EXPECT_FALSE(FileUtils::CopyDir("/tmp/source/", "/tmp/no/dest/"));
    EXPECT_EQ(capture.Take(),
              (Records{"E CopyDir: opendir failed, path: /tmp/missing/, err: No such file or directory",
                       "E CopyDir: mkdir failed, path: /tmp/no/dest/, err: No such file or directory"}));
}

TEST(FileCopies, FailedCopyDirTellsEveryLevelAndRemovesOnlyWhatIsEmpty) {
    fs::create_directories("/tmp/source/sub");
    fs::create_symlink("nowhere", "/tmp/source/sub/dangling");
    PlumeCapture capture;
    EXPECT_FALSE(FileUtils::CopyDir("/tmp/source/", "/tmp/dest/"));
    EXPECT_EQ(capture.Take(),
              (Records{"E CopyFile: realpath failed: /tmp/source/sub/dangling",
                       "E CopyDir: copyfile failed, fullSourcePath: /tmp/source/sub/dangling, fullDestPath: "
                       "/tmp/dest/sub/dangling",
                       "E CopyDir: copydir failed, fullSourcePath: /tmp/source/sub/, fullDestPath: /tmp/dest/sub/"}));
    EXPECT_FALSE(fs::exists("/tmp/dest"));
    fs::create_directory("/tmp/dest");
    EXPECT_FALSE(FileUtils::CopyDir("/tmp/source/", "/tmp/dest/"));
    EXPECT_TRUE(fs::is_empty("/tmp/dest"));
    fs::remove("/tmp/source/sub/dangling");
    Write("/tmp/source/sub/empty", "");
    EXPECT_FALSE(FileUtils::CopyDir("/tmp/source/", "/tmp/partial/"));
    EXPECT_TRUE(fs::exists("/tmp/partial/sub/empty"));
}

TEST(FileReads, Digest) {
    // The empty text, "abc" and a million times "a" as published; the block limits by sha256sum.
    const std::pair<std::string, const char*> cases[] = {
        {"", EMPTY_DIGEST},
        {"abc", "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad"},
        {std::string(1024, 'a'), "2edc986847e209b4016e141a6dc8716d3207350f416969382d431539bf292e4a"},
        {std::string(1025, 'a'), "4a82297889eb505cf6b5cbdf69977afab4632d6557539782f657bd7dc78091a5"},
        {std::string(1000000, 'a'), "cdc76e5c9914fb9281a1c7e284d73e67f1809a48a497200e046d39ccc7112cd0"},
    };
    for (const auto& [content, digest] : cases) {
        Write("/tmp/file", content);
        EXPECT_EQ(FileUtils::GetFileSHA256("/tmp/file"), digest) << content.size();
    }
    EXPECT_EQ(FileUtils::GetFileSHA256("/tmp"), EMPTY_DIGEST) << "a read error counts as the end";
    PlumeCapture capture;
    EXPECT_EQ(FileUtils::GetFileSHA256(""), "");
    EXPECT_EQ(capture.Take(), (Records{"I GetFileSHA256: filePath: ", "E FileIsExist: filePath is empty",
                                       "E GetFileSHA256: filePath:  is an invalid path"}));
}

TEST(FileReads, UnreadableFileSaysWhy) {
    Write("/tmp/locked", "x");
    fs::permissions("/tmp/locked", fs::perms::none);
    fs::permissions("/tmp", fs::perms::all);
    const uid_t self = geteuid();
    ASSERT_TRUE(self != 0 || seteuid(65534) == 0);
    PlumeCapture capture;
    EXPECT_EQ(FileUtils::GetFileSHA256("/tmp/locked"), "");
    EXPECT_EQ(FileUtils::GetFileStream("/tmp/locked"), "");
    EXPECT_FALSE(FileUtils::CopyFile("/tmp/locked", "/tmp/created"));
    ASSERT_EQ(seteuid(self), 0);
    EXPECT_TRUE(fs::exists("/tmp/created"));
    EXPECT_EQ(capture.Take(), (Records{"I GetFileSHA256: filePath: /tmp/locked",
                                       "E GetFileSHA256: filePath: /tmp/locked, errorMessage:Permission denied",
                                       "E GetFileStream: fail to open file: /tmp/locked, errinfo: Permission denied"}));
}

TEST(FileReads, LinesAndStream) {
    const std::pair<std::string, std::vector<std::string>> cases[] = {
        {"", {}},           {"\n", {""}},       {"a\n\nb", {"a", "", "b"}},
        {"a\r\n", {"a\r"}}, {" a \n", {" a "}}, {std::string("z\0z\n", 4), {std::string("z\0z", 3)}},
    };
    PlumeCapture capture;
    for (const auto& [content, lines] : cases) {
        Write("/tmp/file", content);
        EXPECT_EQ(FileUtils::ReadLines("/tmp/file"), lines) << content;
        EXPECT_EQ(FileUtils::GetFileStream("/tmp/file"), content);
    }
    EXPECT_EQ(capture.Take(), Records{});
    EXPECT_TRUE(FileUtils::ReadLines("/tmp/missing").empty());
    EXPECT_EQ(FileUtils::GetFileStream("/tmp/missing"), "");
    EXPECT_EQ(capture.Take(), (Records{"E ReadLines: file open failed!!!:/tmp/missing",
                                       "E GetFileStream: filePath: /tmp/missing is an invalid path"}));
}

}  // namespace
