#include "file_utils.h"

#include <fcntl.h>
#include <sys/statfs.h>

#include "support/test.h"

namespace {

/// Opens a file, always with the same stream: an earlier failure must not affect the next call.
bool Open(const std::string& path, std::ios::openmode openMode, unsigned int mode) {
    static std::fstream stream;
    stream.close();
    return FileUtils::OpenFile(stream, path, static_cast<unsigned int>(openMode), mode);
}

TEST(FileQueries, CheckExistenceAndValidity) {
    Write("/tmp/file", "x");
    fs::create_symlink("/tmp/nowhere", "/tmp/dangling");
    PlumeCapture capture;
    EXPECT_TRUE(FileUtils::FileIsExist("/tmp/file") && FileUtils::FileIsExist("/tmp"));
    EXPECT_TRUE(FileUtils::DirIsExist("/tmp") && !FileUtils::DirIsExist("/tmp/file"));
    for (const std::string& path :
         {std::string("/tmp/dangling"), std::string("/tmp/file/below"), std::string(5000, 'x')}) {
        EXPECT_FALSE(FileUtils::FileIsExist(path) || FileUtils::DirIsExist(path)) << path;
    }
    EXPECT_TRUE(FileUtils::IsValidPath("data/x") && FileUtils::IsValidPath("/data/./x.y"));
    EXPECT_FALSE(FileUtils::FileIsExist("") || FileUtils::IsValidPath("") || FileUtils::IsValidPath("/data/a..b"));
    EXPECT_EQ(capture.Take(), (Records{"E FileIsExist: filePath is empty", "E IsValidPath: path is empty",
                                       "I IsValidPath: path: /data/a..b is an invalid path"}));
}

TEST(FileQueries, ReturnSizesInWholeUnitsWrappedAt32Bits) {
    constexpr std::tuple<uintmax_t, int, int> BYTES_UNIT_SIZE[] = {
        {1536, 0, 1536},       {1536, 1, 1},         {1536, 2, 0},    {1536, 3, -1},
        {1023, 1, 0},          {2097151, 1, 2047},   {2097151, 2, 1}, {2147483653, 0, -2147483643},
        {2147483653, 2, 2048}, {3221225472, 2, 3072}};
    Write("/tmp/file", "");
    PlumeCapture capture;
    for (const auto& [bytes, unit, size] : BYTES_UNIT_SIZE) {
        fs::resize_file("/tmp/file", bytes);
        EXPECT_EQ(FileUtils::GetFileSize("/tmp/file", static_cast<FileSizeUnit>(unit)), size);
        const std::string record = "I GetFileSize: Util GetFileSize, /tmp/file size " + std::to_string(size) + " ";
        EXPECT_EQ(capture.Take(), Records{record}) << bytes;
    }
    EXPECT_EQ(FileUtils::GetFileSize("/tmp/missing", FileSizeUnit::BYTE), -1);
    EXPECT_EQ(capture.Take(), Records{"E GetFileSize: GetFileSize failed"});
}

TEST(FileQueries, DirSizeCountsLinkedFilesButNotLinkedDirectories) {
    Write("/tmp/dir/a", std::string(1023, 'x'));
    EXPECT_EQ(FileUtils::GetDirSize("/tmp/dir"), 0U);
    Write("/tmp/dir/sub/b", std::string(1023, 'x'));
    EXPECT_EQ(FileUtils::GetDirSize("/tmp/dir"), 1U);
    for (const auto& [link, target] :
         {std::pair("link", "a"), {"dangling", "nowhere"}, {"under", "a/x"}, {"linked", "sub"}}) {
        fs::create_symlink(target, std::string("/tmp/dir/") + link);
    }
    EXPECT_EQ(FileUtils::GetDirSize("/tmp/dir"), 2U);
    PlumeCapture capture;
    EXPECT_EQ(FileUtils::GetDirSize("/tmp/dir/a") + FileUtils::GetDirSize("/tmp/missing"), 0U);
    EXPECT_EQ(capture.Take(), Records(2, "E GetDirSize: invalid path"));
    fs::create_symlink("loop", "/tmp/dir/loop");
    EXPECT_THROW(FileUtils::GetDirSize("/tmp/dir"), fs::filesystem_error);
}

// GetDirSize calls stat only on regular files and links. stat fails in a directory without search permission.
TEST(FileQueries, DirSizeSkipsAPipeInAnUnsearchableDirectory) {
    fs::create_directory("/tmp/listed");
    ASSERT_EQ(mkfifo("/tmp/listed/pipe", 0600), 0);
    fs::permissions("/tmp/listed", fs::perms(0444));
    const bool root = geteuid() == 0;
    ASSERT_TRUE(!root || seteuid(65534) == 0);
    EXPECT_NE(eaccess("/tmp/listed/pipe", F_OK), 0);
    EXPECT_EQ(FileUtils::GetDirSize("/tmp/listed"), 0U);
    ASSERT_TRUE(!root || seteuid(0) == 0);
}

TEST(FileQueries, ReturnFreeDiskSpaceInKiB) {
    if (!IsOnSmallDisk(LOG_DIR)) {
        GTEST_SKIP() << "other processes may write to this disk";
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

// On 32-bit systems, calls with a 32-bit time_t fail for times after 2038.
TEST(FileQueries, WorkWithTimesAfter2038) {
    Write("/tmp/late/file", "x");
    const timespec times[] = {{static_cast<time_t>(2500000000), 0}, {static_cast<time_t>(2500000000), 0}};
    for (const char* path : {"/tmp/late/file", "/tmp/late"}) {
        ASSERT_TRUE(utimensat(AT_FDCWD, path, times, 0) == 0 && Stat(path).st_mtime > 2400000000);
    }
    EXPECT_EQ(FileUtils::GetFileSize("/tmp/late/file", FileSizeUnit::BYTE), 1);
    EXPECT_TRUE(FileUtils::DirIsExist("/tmp/late") && FileUtils::FileIsExist("/tmp/late/file"));
    EXPECT_TRUE(FileUtils::GetDirSize("/tmp/late") == 0 && Open("/tmp/late/file", std::ios::in, 0600));
    EXPECT_TRUE(FileUtils::CleanDir("/tmp/late", false) && fs::is_empty("/tmp/late"));
}

// The digests of "", "abc" and a million times "a" are published; the digests at the block size come from sha256sum.
TEST(FileReads, ReturnCorrectDigests) {
    const std::pair<std::string, const char*> cases[] = {
        {"", "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855"},
        {"abc", "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad"},
        {std::string(1024, 'a'), "2edc986847e209b4016e141a6dc8716d3207350f416969382d431539bf292e4a"},
        {std::string(1025, 'a'), "4a82297889eb505cf6b5cbdf69977afab4632d6557539782f657bd7dc78091a5"},
        {std::string(1000000, 'a'), "cdc76e5c9914fb9281a1c7e284d73e67f1809a48a497200e046d39ccc7112cd0"}};
    for (const auto& [content, digest] : cases) {
        Write("/tmp/file", content);
        PlumeCapture capture;
        EXPECT_EQ(FileUtils::GetFileSHA256("/tmp/file"), digest);
        EXPECT_EQ(capture.Take(), Records{"I GetFileSHA256: filePath: /tmp/file"});
    }
    EXPECT_EQ(FileUtils::GetFileSHA256("/tmp"), cases[0].second) << "a read error counts as the end of the file";
}

TEST(FileReads, ReturnLinesAndWholeFiles) {
    const std::pair<std::string, std::vector<std::string>> cases[] = {
        {"", {}},           {"\n", {""}},       {"a\n\nb", {"a", "", "b"}},
        {"a\r\n", {"a\r"}}, {" a \n", {" a "}}, {{'z', '\0', 'z', '\n'}, {{'z', '\0', 'z'}}}};
    for (const auto& [content, lines] : cases) {
        Write("/tmp/file", content);
        EXPECT_EQ(FileUtils::ReadLines("/tmp/file"), lines);
        EXPECT_EQ(FileUtils::GetFileStream("/tmp/file"), content);
    }
}

TEST(FileReads, ReturnNothingForMissingFilesAndSockets) {
    ASSERT_EQ(mknod("/tmp/socket", S_IFSOCK | 0600, 0), 0);  // exists, but can't be opened
    PlumeCapture capture;
    for (const char* path : {"", "/missing", "/tmp/socket"}) {
        EXPECT_EQ(FileUtils::GetFileSHA256(path), "");
        EXPECT_EQ(FileUtils::GetFileStream(path), "");
    }
    EXPECT_TRUE(FileUtils::ReadLines("/missing").empty());
    EXPECT_FALSE(FileUtils::CopyFile("/tmp/socket", "/tmp/created"));
    EXPECT_TRUE(fs::exists("/tmp/created"));
    EXPECT_EQ(
        capture.Take(),
        (Records{"I GetFileSHA256: filePath: ", "E FileIsExist: filePath is empty",
                 "E GetFileSHA256: filePath:  is an invalid path", "E GetFileStream: filePath:  is an invalid path",
                 "I GetFileSHA256: filePath: /missing", "E GetFileSHA256: filePath: /missing is an invalid path",
                 "E GetFileStream: filePath: /missing is an invalid path", "I GetFileSHA256: filePath: /tmp/socket",
                 "E GetFileSHA256: filePath: /tmp/socket, errorMessage:No such device or address",
                 "E GetFileStream: fail to open file: /tmp/socket, errinfo: No such device or address",
                 "E ReadLines: file open failed!!!:/missing"}));
}

TEST(FileChanges, MakeRenameAndOpenFiles) {
    umask(022);
    PlumeCapture capture;
    EXPECT_TRUE(FileUtils::MakeDir("/tmp/dir", 0772));
    EXPECT_EQ(Mode("/tmp/dir"), 0750U);
    EXPECT_FALSE(FileUtils::MakeDir("/tmp/dir", 0700) || FileUtils::MakeDir("/tmp/a/b", 0700));
    const std::string content = {'a', '\0', 'b'};
    EXPECT_TRUE(FileUtils::MakeFile("/tmp/made", "long text") && FileUtils::MakeFile("/tmp/made", content));
    EXPECT_EQ(Read("/tmp/made"), content);
    EXPECT_TRUE(FileUtils::MakeFile("/dev/full", "x"));
    EXPECT_FALSE(FileUtils::MakeFile("/tmp/a/b", ""));
    EXPECT_TRUE(Open("/tmp/file", std::ios::out, 0640));
    EXPECT_EQ(Mode("/tmp/file"), 0640U);
    EXPECT_FALSE(Open("/tmp/dir", std::ios::out, 0711));
    EXPECT_EQ(Mode("/tmp/dir"), 0711U) << "the mode is set even on failure";
    EXPECT_TRUE(Open("/tmp/made", std::ios::in, 0600)) << "after an earlier failure";
    EXPECT_FALSE(Open("/tmp/../x", std::ios::out, 0600) || fs::exists("/x"));
    EXPECT_TRUE(FileUtils::RenameFile("/tmp/made", "/tmp/new") && !fs::exists("/tmp/made"));
    EXPECT_EQ(Read("/tmp/new"), content);
    EXPECT_FALSE(FileUtils::RenameFile("/tmp/missing", "/tmp/new"));
    EXPECT_EQ(capture.Take(),
              (Records{"E MakeDir: Util mkdir result= -1, errinfo= File exists, path= /tmp/dir ",
                       "E MakeDir: Util mkdir result= -1, errinfo= No such file or directory, path= /tmp/a/b ",
                       "E MakeFile: Failed to open /tmp/a/b", "I IsValidPath: path: /tmp/../x is an invalid path",
                       "E OpenFile: path: /tmp/../x is an invalid path", "E RenameFile: rename failed: /tmp/new"}));
}

TEST(FileChanges, SetTheOwnerOfTheQuickFixDirectory) {
    if (!CanChangeOwners()) {
        GTEST_SKIP() << "changing owners needs root";
    }
    ASSERT_EQ(chown("/data/update/quickfix", 1234, 2345), 0);
    Write("/tmp/file", "");
    FileUtils::SetGidAndUidToQuickFix("/tmp/file");
    EXPECT_EQ(Owner("/tmp/file"), "1234:2345");
    unsigned int uid = 1;
    unsigned int gid = 1;
    FileUtils::GetPathGidAndUid("/tmp/file", uid, gid);
    EXPECT_TRUE(uid == 1234 && gid == 2345);
    FileUtils::GetPathGidAndUid("/tmp/missing", uid, gid);
    EXPECT_TRUE(uid == 0 && gid == 0);
}

TEST(FileChanges, CleanDirEmptiesSubdirectoriesAndTargetsOfLinks) {
    PlumeCapture capture;
    EXPECT_FALSE(FileUtils::CleanDir(nullptr, false));
    EXPECT_EQ(capture.Take(), Records{"E CleanDir: CleanDir fail, dirPath is null"});
    EXPECT_TRUE(FileUtils::CleanDir("/tmp/missing", false));
    Write("/tmp/dir/sub/deep/.file", "x");
    Write("/tmp/target/file", "x");
    fs::create_symlink("/tmp/target", "/tmp/dir/link");
    fs::create_symlink("/tmp/nowhere", "/tmp/dir/dangling");
    EXPECT_TRUE(FileUtils::CleanDir("/tmp/dir/", false));
    EXPECT_TRUE(fs::is_empty("/tmp/dir") && fs::is_empty("/tmp/target"));
    Write("/tmp/file", "x");
    EXPECT_TRUE(FileUtils::CleanDir("/tmp/dir", true) && FileUtils::CleanDir("/tmp/file", false));
    EXPECT_FALSE(fs::exists("/tmp/dir") || fs::exists("/tmp/file"));
}

// 4092 bytes and "/.." make 4095, the longest path. With one more byte even the entry "..", which is skipped, doesn't
// fit.
TEST(FileChanges, CleanDirFailsAtThePathLimit) {
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

TEST(FileChanges, CopyDirIntoItselfRecursesToThePathLimit) {
    Write("/tmp/self/file", "x");
    PlumeCapture capture;
    EXPECT_FALSE(FileUtils::CopyDir("/tmp/self/", "/tmp/self/copy/"));
    EXPECT_EQ(capture.Take().back(),
              "E CopyDir: copydir failed, fullSourcePath: /tmp/self/copy/, fullDestPath: /tmp/self/copy/copy/");
}

TEST(FileChanges, WalksReachThePathLimitWithFewDescriptors) {
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

// A block has 131072 bytes. The copy of an empty file returns false.
TEST(FileCopies, AreCompleteOrFail) {
    for (const size_t size : {1U, 131072U, 131073U, 762145U}) {
        std::string content(size, '\0');
        std::generate(content.begin(), content.end(),
                      [value = 0]() mutable { return static_cast<char>(value++ % 251); });
        Write("/tmp/source", content);
        EXPECT_TRUE(FileUtils::CopyFile("/tmp/source", "/tmp/dest"));
        EXPECT_TRUE(Read("/tmp/dest") == content) << size;
    }
    Write("/tmp/empty", "");
    EXPECT_FALSE(FileUtils::CopyFile("/tmp/empty", "/tmp/dest"));
    EXPECT_EQ(Read("/tmp/dest"), "");
    PlumeCapture capture;
    EXPECT_FALSE(FileUtils::CopyFile("/tmp/source", "/tmp/missing/dest") ||
                 FileUtils::CopyFile("/tmp/no", "/tmp/made"));
    EXPECT_FALSE(fs::exists("/tmp/made"));
    EXPECT_EQ(capture.Take(), Records{"E CopyFile: realpath failed: /tmp/no"});
}

TEST(FileCopies, FailOnAFullDisk) {
    if (!IsOnSmallDisk(LOG_DIR)) {
        GTEST_SKIP() << "the log directory is not on a small disk";
    }
    const std::string disk = LOG_DIR;  // holds 1 MiB
    Write("/tmp/large", std::string(3U << 20, 'x'));
    Write("/tmp/small", "x");
    EXPECT_FALSE(FileUtils::CopyFile("/tmp/large", disk + "large")) << "fails in a later block";
    EXPECT_FALSE(FileUtils::CopyFile("/tmp/large", disk + "large2")) << "fails in the first block";
    EXPECT_FALSE(FileUtils::CopyFile("/tmp/small", disk + "small"));
    fs::remove(disk + "large");
    EXPECT_TRUE(FileUtils::CopyFile("/tmp/small", disk + "small"));
}

TEST(FileCopies, MergeIntoAnExistingDirectory) {
    umask(0);
    Write("/tmp/source/a", "new");
    Write("/tmp/source/sub/.b", "b");
    fs::create_symlink("a", "/tmp/source/link");
    Write("/tmp/dest/a", "old, and longer");
    Write("/tmp/dest/kept", "kept");
    PlumeCapture capture;
    EXPECT_TRUE(FileUtils::CopyDir("/tmp/source/", "/tmp/dest/"));
    EXPECT_EQ(Read("/tmp/dest/a") + Read("/tmp/dest/sub/.b") + Read("/tmp/dest/kept"), "newbkept");
    EXPECT_TRUE(fs::is_regular_file(fs::symlink_status("/tmp/dest/link")));
    EXPECT_EQ(Mode("/tmp/dest/sub"), 0775U);
    EXPECT_FALSE(FileUtils::CopyDir("/tmp/missing/", "/tmp/dest/") ||
                 FileUtils::CopyDir("/tmp/source/", "/tmp/no/dest/"));
    EXPECT_EQ(capture.Take(),
              (Records{"E CopyDir: opendir failed, path: /tmp/missing/, err: No such file or directory",
                       "E CopyDir: mkdir failed, path: /tmp/no/dest/, err: No such file or directory"}));
}

TEST(FileCopies, RemoveOnlyTheirOwnEmptyDirectoriesOnFailure) {
    fs::create_directories("/tmp/source/sub");
    fs::create_symlink("nowhere", "/tmp/source/sub/x");
    const std::string paths = ", fullSourcePath: /tmp/source/sub/";
    PlumeCapture capture;
    EXPECT_FALSE(FileUtils::CopyDir("/tmp/source/", "/tmp/dest/"));
    EXPECT_FALSE(fs::exists("/tmp/dest"));
    EXPECT_EQ(capture.Take(), (Records{"E CopyFile: realpath failed: /tmp/source/sub/x",
                                       "E CopyDir: copyfile failed" + paths + "x, fullDestPath: /tmp/dest/sub/x",
                                       "E CopyDir: copydir failed" + paths + ", fullDestPath: /tmp/dest/sub/"}));
    fs::create_directory("/tmp/dest");
    EXPECT_FALSE(FileUtils::CopyDir("/tmp/source/", "/tmp/dest/"));
    EXPECT_TRUE(fs::is_empty("/tmp/dest"));
    fs::remove("/tmp/source/sub/x");
    Write("/tmp/source/sub/x", "");
    EXPECT_FALSE(FileUtils::CopyDir("/tmp/source/", "/tmp/partial/"));
    EXPECT_TRUE(fs::exists("/tmp/partial/sub/x"));
}

}  // namespace
