#include "quick_fix_logger.h"

#include "forked_children.h"
#include "support/test.h"
#include "test_manager.h"

using testing::AllOf, testing::AnyOf, testing::EndsWith, testing::MatchesRegex, testing::StartsWith;

namespace {

const std::string RECORD = "TIME[f(g):1]text\n";

void WriteRecord() {
    Logger().OutputLog("text", "f", "g", 1);
}

/// Returns a line of `size` bytes.
std::string Lines(size_t size) {
    return std::string(size - 1, 'x') + "\n";
}

// A file of 65536 bytes is full. A killed process leaves the beginning of a record only at the end of a page. The
// logger removes this beginning when it opens a file that is not full, and keeps all other text.
TEST(FileLog, RotatesFilesOf64KiBAndRemovesPartialRecords) {
    const std::string partial = "2026-03-01 09:05:07.";
    const std::string otherTimestamp = "2026-03-01T09:05:07.";
    const struct {
        const char* name;
        std::string first, second, firstAfter, secondAfter;
    } cases[] = {
        {"no files", "", "", RECORD, ""},
        {"almost full", Lines(65535), "", Lines(65535) + RECORD, ""},
        {"full", Lines(65536), "", Lines(65536), RECORD},
        {"second almost full", Lines(10), Lines(65535), Lines(10), Lines(65535) + RECORD},
        {"second full", Lines(10), Lines(65536), Lines(65536), RECORD},
        {"only a second, full", "", Lines(65537), Lines(65537), RECORD},
        {"partial after a page", Lines(4076) + partial, "", Lines(4076) + RECORD, ""},
        {"partial after two pages", "", Lines(8166) + partial + "004[a(", "", Lines(8166) + RECORD},
        {"a long partial record", Lines(1) + partial + "004[" + std::string(8167, 'y'), "", Lines(1) + RECORD, ""},
        {"two bytes", Lines(4094) + "20", "", Lines(4094) + RECORD, ""},
        {"a whole line", Lines(4096), "", Lines(4096) + RECORD, ""},
        {"not at the end of a page", Lines(4075) + partial, "", Lines(4075) + partial + RECORD, ""},
        {"no time stamp", Lines(4076) + otherTimestamp, "", Lines(4076) + otherTimestamp + RECORD, ""},
        {"one long line", std::string(4096, 'x'), "", std::string(4096, 'x') + RECORD, ""},
        {"partial, but full", Lines(65516) + partial, "", Lines(65516) + partial, RECORD},
        {"line feed in a partial record", Lines(4059) + partial + "004[a(b):1]two\nli", "",
         Lines(4059) + "TIME[a(b):1]two\nli" + RECORD, ""},
    };
    for (const auto& [name, first, second, firstAfter, secondAfter] : cases) {
        Logger().RemoveLog();
        EXPECT_FALSE(fs::exists(FIRST_LOG) || fs::exists(SECOND_LOG));
        for (const auto& [path, content] : {std::pair(FIRST_LOG, first), std::pair(SECOND_LOG, second)}) {
            if (!content.empty()) {
                Write(path, content);
            }
        }
        WriteRecord();
        EXPECT_TRUE(ReadLog(FIRST_LOG) == firstAfter) << name;
        EXPECT_TRUE(ReadLog(SECOND_LOG) == secondAfter) << name;
    }
}

TEST(FileLog, ContinuesAfterOthersChangeItsFiles) {
    const struct {
        const char* name;
        void (*touch)();
        std::string first, second;
    } cases[] = {
        {"both emptied", [] { fs::resize_file(FIRST_LOG, 0), fs::resize_file(SECOND_LOG, 0); }, "", RECORD},
        {"second cut", [] { fs::resize_file(SECOND_LOG, 26); }, Lines(65536), "TIME[f(" + RECORD},
        {"first removed", [] { fs::remove(FIRST_LOG); }, "", RECORD + RECORD},
        {"second removed", [] { fs::remove(SECOND_LOG); }, Lines(65536), RECORD},
        {"both removed", [] { fs::remove(FIRST_LOG), fs::remove(SECOND_LOG); }, "", ""},
        {"appended to", [] { std::ofstream(SECOND_LOG, std::ios::app) << "x\n"; }, Lines(65536),
         RECORD + "x\n" + RECORD},
    };
    const Records missing = {"E ChangeFileForOverSize: get first log file stat fail",
                             "E OutputLog: ChangeFileForOverSize fail"};
    for (const auto& [name, touch, first, second] : cases) {
        Logger().RemoveLog();
        Write(FIRST_LOG, Lines(65536));
        WriteRecord();
        touch();
        PlumeCapture capture;
        WriteRecord();
        EXPECT_EQ(capture.Take(), (first + second).empty() ? missing : Records());
        EXPECT_TRUE(ReadLog(FIRST_LOG) == first && ReadLog(SECOND_LOG) == second) << name;
    }
}

// The test can't remove the log directory, which is a mount point. A dangling link at the path of the file has the same
// effect as a missing directory.
TEST(FileLog, ReportsAMissingDirectoryAndRecovers) {
    PlumeCapture capture;
    fs::create_symlink("/nowhere/at/all", FIRST_LOG);
    WriteRecord();
    EXPECT_EQ(capture.Take(), (Records{"E CreateLogFile: CreateLogFile /data/update/quickfix/log/quickfix_1.log fail",
                                       "E ChangeFileForOverSize: get first log file stat fail",
                                       "E OutputLog: ChangeFileForOverSize fail"}));
    EXPECT_FALSE(Logger().CreateLogFile(FIRST_LOG));
    fs::remove(FIRST_LOG);
    WriteRecord();
    EXPECT_EQ(ReadLog(FIRST_LOG), RECORD);
}

TEST(FileLog, CreateLogFileReplacesTheOpenFileAndAppends) {
    Write(FIRST_LOG, "old");
    EXPECT_TRUE(Logger().CreateLogFile(SECOND_LOG) && Logger().CreateLogFile(FIRST_LOG));
    EXPECT_EQ(Read(FIRST_LOG), "");
    EXPECT_EQ(Mode(FIRST_LOG), 0600U);
    fs::remove(SECOND_LOG);
    WriteRecord();
    std::ofstream(FIRST_LOG, std::ios::app) << "from another process\n";
    WriteRecord();
    EXPECT_EQ(ReadLog(FIRST_LOG), RECORD + "from another process\n" + RECORD);
}

TEST(FileLog, HasTheOwnerOfItsDirectory) {
    if (!CanChangeOwners()) {
        GTEST_SKIP() << "changing owners needs root";
    }
    ASSERT_EQ(chown(LOG_DIR, 1234, 2345), 0);
    WriteRecord();
    EXPECT_EQ(Owner(FIRST_LOG), "1234:2345");
    EXPECT_FALSE(fs::exists(SECOND_LOG));
}

TEST(FileLog, RecoversFromAFullDiskWithoutAPartialLine) {
    if (!IsOnSmallDisk(LOG_DIR)) {
        GTEST_SKIP() << "the log directory is not on a small disk";
    }
    WriteRecord();
    const std::string filler = std::string(LOG_DIR) + "filler";
    FileUtils::MakeFile(filler, std::string(2U << 20, 'f'));
    // The first records still fit in the last page of the log. A later record doesn't fit.
    const std::string text(1000, 'x');
    for (int i = 0; i < 10; ++i) {
        Logger().OutputLog(text.c_str(), "f", "g", 1);
    }
    const std::string full = ReadLog(FIRST_LOG);
    EXPECT_LT(full.size(), 5 * text.size());
    for (size_t at = RECORD.size(); at < full.size(); at += text.size() + 13) {
        EXPECT_EQ(full.substr(at, text.size() + 13), "TIME[f(g):1]" + text + "\n");
    }
    fs::remove(filler);
    WriteRecord();
    EXPECT_EQ(ReadLog(FIRST_LOG), full + RECORD);
}

TEST(FileLog, GetFormatTimeFollowsTzsetAndNeeds24Bytes) {
    PlumeCapture capture;
    char text[64] = {};
    for (const auto& [zone, minutes] : {std::pair("XXX-5:30", 330), std::pair("YYY4", -240)}) {
        setenv("TZ", zone, 1);
        tzset();
        const std::time_t now = std::time(nullptr) + minutes * 60;
        ASSERT_TRUE(Logger().GetFormatTime(text, 24));
        std::tm utc = {};
        ASSERT_NE(strptime(text, "%Y-%m-%d %H:%M:%S", &utc), nullptr);
        EXPECT_THAT(timegm(&utc) - now, AnyOf(0, 1)) << text;
        EXPECT_THAT(text, MatchesRegex("[0-9]{4}(-[0-9]{2}){2} [0-9]{2}(:[0-9]{2}){2}[.][0-9]{3}")) << text;
    }
    EXPECT_FALSE(Logger().GetFormatTime(text, 23));
    EXPECT_EQ(capture.Take(), Records{"E GetFormatTime: GetFormatTime error, ret : -1"});
}

TEST(FileLog, FormatLogRemovesPublicMarkers) {
    EXPECT_EQ(Logger().FormatLog("a{public}{public}b%{private}d"), "ab%{private}d");
    EXPECT_EQ(Logger().FormatLog("{pub{public}lic}%{public}s"), "%s");
}

// This program is built with hidden visibility, but must share its logger with the library.
TEST(FileLog, SharesOneLoggerBetweenLibraryAndCaller) {
    TestManager().CheckNativePatch();
    QF_FILE_LOGI("from the caller");
    Logger().RemoveLog();
    TestManager().CheckNativePatch();
    EXPECT_THAT(ReadLog(FIRST_LOG),
                MatchesRegex("TIME.test_manager.CheckNativePatch.:[0-9]+.Check Native Patch Begin\n"));
}

TEST(FileLog, AcceptsRecordsWhileTheProcessExits) {
    const auto logAndExit = [] {
        // Registered before the logger exists, so it runs after any destructor that the logger registers.
        (void)std::atexit(WriteRecord);
        WriteRecord();
        exit(0);
    };
    EXPECT_EXIT(logAndExit(), testing::ExitedWithCode(0), "");
    EXPECT_EQ(ReadLog(FIRST_LOG), RECORD + RECORD);
}

TEST(FileLog, WorksInForkedChildrenWhileOtherThreadsLog) {
    EXPECT_TRUE(ForkedChildrenReturn(200, WriteRecord));
}

struct Grouping : std::numpunct<char> {
    char do_thousands_sep() const override { return '.'; }
    std::string do_grouping() const override { return "\1"; }
};

TEST(FileLog, IgnoresTheGlobalLocale) {
    ASSERT_EQ(std::system("localedef -i de_DE -f UTF-8 /tmp/de_DE.UTF-8"), 0) << "the package locales is missing";
    setenv("LOCPATH", "/tmp", 1);
    ASSERT_NE(setlocale(LC_ALL, "de_DE.UTF-8"), nullptr);
    std::locale::global(std::locale(std::locale::classic(), new Grouping));
    PlumeCapture capture;
    Logger().OutputLog("x", "f", "g", 1234567);
    QF_FILE_LOGI("%{public}.1f", 1.5);
    const Records records = capture.Take();
    const std::string log = ReadLog(FIRST_LOG);
    for (int i = 0; i < 12; ++i) {
        Write("/patch_qv/overlay/" + std::string(1, static_cast<char>('a' + i)), "x");
    }
    const std::string report = TestManager().CheckNativePatch();
    std::locale::global(std::locale::classic());
    setlocale(LC_ALL, "C");
    EXPECT_EQ(records, Records{"I TestBody: 1.5"});
    EXPECT_THAT(report, testing::HasSubstr(R"("total": "12","success": "0","failed": "12")"));
    EXPECT_THAT(log, AllOf(StartsWith("TIME[f(g):1234567]x\nTIME"), EndsWith("]1.5\n")));
}

}  // namespace
