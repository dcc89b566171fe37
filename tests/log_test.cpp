#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <locale>
#include <regex>
#include <thread>

#include "platform/singleton.h"
#include "quick_fix_log.h"
#include "support/files.h"
#include "support/plume_capture.h"
#include "test_manager.h"

namespace fs = std::filesystem;
using namespace TEKLO::QuickFixEngine;
using TEKLO::DelayedSingleton;

namespace {

constexpr size_t FULL = 65536;

std::shared_ptr<QuickFixLogger> Logger() {
    return DelayedSingleton<QuickFixLogger>::GetInstance();
}

/// The lines of a log file without their time stamps, each checked for its shape.
Records Lines(const std::string& path) {
    static const std::regex shape(R"(^\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{3}(\[.*)$)");
    Records lines;
    std::istringstream content(Read(path));
    for (std::string line; std::getline(content, line);) {
        std::smatch parts;
        lines.push_back(std::regex_match(line, parts, shape) ? parts[1].str() : "MALFORMED " + line);
    }
    return lines;
}

TEST(LogMacros, FilterByLevel) {
    const Records all = {"D TestBody: d", "I TestBody: i 1", "E TestBody: e x"};
    for (int threshold = 0; threshold <= 3; ++threshold) {
        PlumeCapture capture(static_cast<QuickFixPlumeLevel>(threshold));
        const Records passed(all.begin() + std::min(threshold, 2), all.end());
        QF_LOGD("d");
        QF_LOGI("i %{public}d", 1);
        QF_LOGE("e %{public}s", "x");
        EXPECT_EQ(capture.Take(), passed) << threshold;
        QF_FILE_LOGD("d");
        QF_FILE_LOGI("i %{public}d", 1);
        QF_FILE_LOGE("e %{public}s", "x");
        EXPECT_EQ(capture.Take(), passed) << threshold;
    }
    EXPECT_EQ(Lines(FIRST_LOG).size(), 12U) << "the file log takes all levels";
}

TEST(LogMacros, RecordsCarryTheirPlaceOnBothLogs) {
    PlumeCapture capture;
    const int line = __LINE__ + 1;
    QF_FILE_LOGI("100%% of %{public}s", "it");
    const std::string place = "(TestBody):" + std::to_string(line) + "]";
    EXPECT_EQ(capture.TakeRaw(), Records{"3/4/d002e03/QuickFixUitls/[log_test" + place + " 100% of it"});
    EXPECT_EQ(Lines(FIRST_LOG), Records{"[log_test" + place + "100% of it"});
}

TEST(LogMacros, EvaluateArgumentsOnceAndOnlyWhenNeeded) {
    PlumeCapture capture(QuickFixPlumeLevel::ERROR);
    int evaluated = 0;
    QF_LOGI("%{public}d", ++evaluated);
    EXPECT_EQ(evaluated, 0);
    QF_FILE_LOGI("%{public}d", ++evaluated);
    EXPECT_EQ(evaluated, 1);
    QF_FILE_LOGE("%{public}d", ++evaluated);
    EXPECT_EQ(evaluated, 2);
}

TEST(LogMacros, LeaveTooLongAndEmptyTextsOutOfTheFileLog) {
    PlumeCapture capture;
    for (const size_t length : {size_t{0}, size_t{1023}, size_t{1024}}) {
        QF_FILE_LOGI("%{public}s", std::string(length, 'x').c_str());
    }
    EXPECT_EQ(capture.Take().size(), 3U);
    ASSERT_EQ(Lines(FIRST_LOG).size(), 1U);
    EXPECT_NE(Lines(FIRST_LOG)[0].find("]" + std::string(1023, 'x')), std::string::npos);
}

// The file names and formats of other people's sources.
TEST(LogMacros, NameOfTheSourceFile) {
    using namespace LogDetail;
    const auto name = [](const char* path) {
        return std::string(path).substr(BaseNameStart(path), BaseNameLength(path));
    };
    EXPECT_EQ(name("/a/b.c/file_utils.cpp"), "file_utils");
    EXPECT_EQ(name("my.test.cpp"), "my.test");
    EXPECT_EQ(name("/a.b/plain"), "plain");
    EXPECT_EQ(name("/a/.hidden"), ".hidden");
}

template <typename... Args>
bool Fits(const char* format, Args... /*arguments*/) {
    return LogDetail::FormatFits(format, LogDetail::ArgumentTypes<Args...>{}, true);
}

TEST(LogMacros, FormatsAreCheckedAgainstTheirArguments) {
    enum Plain { PLAIN };
    enum class Scoped { SCOPED };
    EXPECT_TRUE(Fits("no marker, 100%%"));
    EXPECT_TRUE(Fits("%{public}s %{private}d %s", "a", 1, "b"));
    EXPECT_TRUE(Fits("%d%u%c%x%hhd", true, 1U, 'c', PLAIN, short{1}));
    EXPECT_TRUE(Fits("%ld %llu %zu %jd %td", 1L, 1ULL, size_t{1}, intmax_t{1}, ptrdiff_t{1}));
    EXPECT_TRUE(Fits("%{public}-*.*f %Lg %p", 1, 2, 1.0F, 1.0L, "x"));

    const bool misfits[] = {
        Fits("%{public}s"),
        Fits("none", 1),
        Fits("%{public}d %{public}d", 1),
        Fits("%{public}s", 1),
        Fits("%{public}d", "text"),
        Fits("%{public}d", 1L),
        Fits("%{public}s", std::string("s")),
        Fits("%{public}ld", 1),
        Fits("%{public}d", 1.0),
        Fits("%*d", 1),
        Fits("%{public}d", Scoped::SCOPED),
        Fits("%n", nullptr),
        Fits("%{secret}s", "a"),
        Fits("%", 1),
    };
    EXPECT_THAT(misfits, testing::Each(false));
    EXPECT_FALSE(LogDetail::FormatFits("%{private}d", LogDetail::ArgumentTypes<int>{}, false));
}

TEST(FileLog, FirstFileIsPrivateAndBelongsToTheOwnerOfItsFolder) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "giving a file away takes root";
    }
    ASSERT_EQ(chown(LOG_DIR, 1234, 2345), 0);
    umask(0);
    QF_FILE_LOGI("x");
    EXPECT_EQ(Mode(FIRST_LOG), 0600U);
    EXPECT_EQ(Stat(FIRST_LOG).st_uid, 1234U);
    EXPECT_EQ(Stat(FIRST_LOG).st_gid, 2345U);
    EXPECT_FALSE(fs::exists(SECOND_LOG));
}

// One marker is followed through the files until it is gone.
TEST(FileLog, RotatesAtItsLimit) {
    struct Case {
        size_t first;  // sizes before the record; 0 is a missing file
        size_t second;
        off_t firstAfter;
        size_t secondLinesAfter;
    };
    const Case cases[] = {
        {FULL - 1, 0, FULL - 1, 0}, {FULL, 0, FULL, 1},         {10, FULL - 1, 10, 2},
        {10, FULL, FULL, 1},        {0, FULL + 1, FULL + 1, 1},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(std::to_string(c.first) + ", " + std::to_string(c.second));
        Logger()->RemoveLog();
        for (const auto& [path, size] : {std::pair(FIRST_LOG, c.first), std::pair(SECOND_LOG, c.second)}) {
            if (size > 0) {
                Write(path, std::string(size - 1, 'x') + "\n");
            }
        }
        QF_FILE_LOGI("marker");
        const std::string& written = c.secondLinesAfter > 0 ? SECOND_LOG : FIRST_LOG;
        EXPECT_THAT(Lines(written).back(), testing::EndsWith("]marker"));
        EXPECT_EQ(Lines(SECOND_LOG).size(), c.secondLinesAfter);
        EXPECT_TRUE(Stat(FIRST_LOG).st_size == c.firstAfter || c.secondLinesAfter == 0);
    }
}

TEST(FileLog, WithoutItsFolderEveryRecordSaysWhy) {
    Logger()->RemoveLog();
    const Records expected = {std::string("E CreateLogFile: CreateLogFile ") + FIRST_LOG + " fail",
                              "E ChangeFileForOverSize: get first log file stat fail",
                              "E OutputLog: ChangeFileForOverSize fail"};
    PlumeCapture capture;
    // The folder is a mount point of the private root, so a link in the way of the file stands for its absence.
    fs::create_symlink("/nowhere/at/all", FIRST_LOG);
    Logger()->OutputLog("x", "f", "g", 1);
    Logger()->OutputLog("x", "f", "g", 1);
    EXPECT_EQ(capture.Take(), (Records{expected[0], expected[1], expected[2], expected[0], expected[1], expected[2]}));
    fs::remove(FIRST_LOG);
    Logger()->OutputLog("x", "f", "g", 1);
    EXPECT_EQ(Lines(FIRST_LOG), Records{"[f(g):1]x"});
}

TEST(FileLog, GoesOnAfterAFullDiskWithoutATornLine) {
    PlumeCapture capture;
    QF_FILE_LOGI("before");
    const std::string filler = std::string(LOG_DIR) + "filler";
    {
        std::ofstream file(filler);
        while (file << std::string(4096, 'f') << std::flush) {
        }
    }
    // What is left of the log's last page still takes some records; the one after them is cut short.
    const std::string text(1000, 'x');
    for (int i = 0; i < 10; ++i) {
        QF_FILE_LOGI("%{public}s", text.c_str());
    }
    const Records duringFull = Lines(FIRST_LOG);
    EXPECT_LT(duringFull.size(), 6U);
    EXPECT_EQ(Read(FIRST_LOG).back(), '\n');
    fs::remove(filler);
    QF_FILE_LOGI("after");
    Records lines = Lines(FIRST_LOG);
    ASSERT_EQ(lines.size(), duringFull.size() + 1);
    EXPECT_NE(lines.back().find("]after"), std::string::npos);
    for (const std::string& line : lines) {
        EXPECT_EQ(line.find("MALFORMED"), std::string::npos);
    }
}

TEST(FileLog, AppendsBehindWhatOthersWrite) {
    QF_FILE_LOGI("one");
    std::ofstream(FIRST_LOG, std::ios::app) << "from another process\n";
    QF_FILE_LOGI("two");
    EXPECT_EQ(Lines(FIRST_LOG).size(), 3U);
    EXPECT_EQ(Lines(FIRST_LOG)[1], "MALFORMED from another process");
}

TEST(FileLog, CreateLogFileReplacesWhatIsOpen) {
    umask(0);
    QuickFixLogger logger;
    Write(FIRST_LOG, "old");
    ASSERT_TRUE(logger.CreateLogFile(SECOND_LOG));
    ASSERT_TRUE(logger.CreateLogFile(FIRST_LOG));
    EXPECT_EQ(Read(FIRST_LOG), "");
    EXPECT_EQ(Mode(FIRST_LOG), 0600U);
}

TEST(FileLog, RemovedLogStartsAnewInTheFirstFile) {
    Write(SECOND_LOG, "old\n");
    QF_FILE_LOGI("one");
    Logger()->RemoveLog();
    EXPECT_FALSE(fs::exists(FIRST_LOG) || fs::exists(SECOND_LOG));
    Logger()->RemoveLog();
    QF_FILE_LOGI("two");
    EXPECT_EQ(Lines(FIRST_LOG).size(), 1U);
    EXPECT_FALSE(fs::exists(SECOND_LOG));
}

TEST(FileLog, TimeFollowsTheZoneAndItsBuffer) {
    setenv("TZ", "XXX-5:30", 1);
    QuickFixLogger logger;
    char text[64] = {};
    ASSERT_TRUE(logger.GetFormatTime(text, sizeof(text)));
    std::tm utc = {};
    const std::time_t shifted = std::time(nullptr) + 5 * 3600 + 30 * 60;
    char minute[32] = {};
    strftime(minute, sizeof(minute), "%Y-%m-%d %H:%M", gmtime_r(&shifted, &utc));
    EXPECT_EQ(std::string(text).substr(0, 16), minute);
    EXPECT_EQ(std::string(text).size(), 23U);

    PlumeCapture capture;
    EXPECT_TRUE(logger.GetFormatTime(text, 24));
    EXPECT_FALSE(logger.GetFormatTime(text, 23));
    EXPECT_EQ(capture.Take(), Records{"E GetFormatTime: GetFormatTime error, ret : -1"});
}

TEST(FileLog, FormatLogRemovesEveryMarker) {
    EXPECT_EQ(Logger()->FormatLog("a{public}{public}b"), "ab");
    EXPECT_EQ(Logger()->FormatLog("{pub{public}lic}%{public}s %{private}d"), "%s %{private}d");
}

// This program is built with hidden visibility: its logger and the library's must still be one.
TEST(FileLog, OneLoggerForTheLibraryAndItsCaller) {
    TestManager().CheckNativePatch();
    QF_FILE_LOGI("from the caller");
    Logger()->RemoveLog();
    TestManager().CheckNativePatch();
    ASSERT_EQ(Lines(FIRST_LOG).size(), 1U);
    EXPECT_NE(Lines(FIRST_LOG)[0].find("[test_manager(CheckNativePatch):"), std::string::npos);
}

TEST(FileLog, TakesRecordsWhileTheProcessExits) {
    const pid_t child = fork();
    if (child == 0) {
        // Registered before the logger exists, so it runs behind every destructor of the logger's making.
        (void)std::atexit([] { QF_FILE_LOGI("last words"); });
        QF_FILE_LOGI("first words");
        exit(0);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
    ASSERT_EQ(Lines(FIRST_LOG).size(), 2U);
    EXPECT_NE(Lines(FIRST_LOG)[1].find("]last words"), std::string::npos);
}

struct Grouping : std::numpunct<char> {
    char do_thousands_sep() const override { return '.'; }
    std::string do_grouping() const override { return "\1"; }
};

TEST(FileLog, GlobalLocaleChangesNoByte) {
    std::locale::global(std::locale(std::locale::classic(), new Grouping));
    Logger()->OutputLog("x", "f", "g", 1234567);
    std::locale::global(std::locale::classic());
    EXPECT_EQ(Lines(FIRST_LOG), Records{"[f(g):1234567]x"});

    ASSERT_EQ(std::system("localedef -i de_DE -f UTF-8 /tmp/de_DE.UTF-8"), 0) << "the package locales is missing";
    setenv("LOCPATH", "/tmp", 1);
    ASSERT_NE(setlocale(LC_ALL, "de_DE.UTF-8"), nullptr);
    PlumeCapture capture;
    QF_FILE_LOGI("%{public}.1f", 1.5);
    setlocale(LC_ALL, "C");
    EXPECT_EQ(capture.Take(), Records{"I TestBody: 1.5"});
    EXPECT_EQ(Lines(FIRST_LOG).back().substr(Lines(FIRST_LOG).back().find(']')), "]1.5");
}

struct Counted {
    Counted() { ++created; }
    static inline std::atomic<int> created{0};
};

TEST(LogThreads, SingletonIsCreatedOnce) {
    std::vector<std::thread> threads;
    threads.reserve(8);
    for (int i = 0; i < 8; ++i) {
        threads.emplace_back([] { EXPECT_NE(DelayedSingleton<Counted>::GetInstance(), nullptr); });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(Counted::created, 1);
}

}  // namespace
