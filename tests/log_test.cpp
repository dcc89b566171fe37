#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <locale>
#include <regex>

#include "file_utils.h"
#include "forked_children.h"
#include "platform/singleton.h"
#include "quick_fix_log.h"
#include "support/files.h"
#include "support/limits.h"
#include "support/plume_capture.h"
#include "test_manager.h"

namespace fs = std::filesystem;
using namespace TEKLO::QuickFixEngine;
using TEKLO::DelayedSingleton;
using testing::AllOf, testing::AnyOf, testing::Each, testing::ElementsAre, testing::EndsWith, testing::SizeIs,
    testing::StartsWith;

namespace {

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

TEST(LogMacros, FilterByLevelAndEvaluateArgumentsOnceWhenNeeded) {
    const Records all = {"D TestBody: d", "I TestBody: i 1", "E TestBody: e x"};
    for (int threshold = 0; threshold <= 3; ++threshold) {
        PlumeCapture capture(static_cast<QuickFixPlumeLevel>(threshold));
        const Records passed(all.begin() + std::min(threshold, 2), all.end());
        int evaluated = 0;
        QF_LOGD("d");
        QF_LOGI("i %{public}d", ++evaluated);
        QF_LOGE("e %{public}s", "x");
        EXPECT_EQ(capture.Take(), passed) << threshold;
        EXPECT_EQ(evaluated, threshold <= 1 ? 1 : 0);
        evaluated = 0;
        QF_FILE_LOGD("d");
        QF_FILE_LOGI("i %{public}d", ++evaluated);
        QF_FILE_LOGE("e %{public}s", "x");
        EXPECT_EQ(capture.Take(), passed) << threshold;
        EXPECT_EQ(evaluated, 1);
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

TEST(LogMacros, TakeAnyExpressionAsAnArgument) {
    PlumeCapture capture;
    int outer = 1;
    QF_FILE_LOGI(
        "%{public}d %{public}zu",
        [&outer] {
            QF_FILE_LOGI("inner %{public}d", outer);
            return outer + 1;
        }(),
        std::vector<int>{1, 2, 3}.size());
    EXPECT_EQ(capture.Take(), (Records{"I operator(): inner 1", "I TestBody: 2 3"}));
    const unsigned char bytes[] = {'u', '\0'};
    signed char more[] = {'s', '\0'};
    QF_LOGI("%{public}s %{public}s %{public}.1lf", bytes, more, 0.5F);
    EXPECT_EQ(capture.Take(), Records{"I TestBody: u s 0.5"});
}

TEST(LogMacros, LeaveTooLongAndEmptyTextsOutOfTheFileLog) {
    PlumeCapture capture;
    for (const size_t length : {size_t{0}, size_t{1023}, size_t{1024}}) {
        QF_FILE_LOGI("%{public}s", std::string(length, 'x').c_str());
    }
    EXPECT_EQ(capture.Take().size(), 3U);
    EXPECT_THAT(Lines(FIRST_LOG), ElementsAre(EndsWith("]" + std::string(1023, 'x'))));
}

template <typename... Args>
bool Fits(const char* format, Args... /*arguments*/) {
    return LogDetail::FormatFits<Args...>(format, true);
}

TEST(LogMacros, FormatsAreCheckedAgainstTheirArguments) {
    enum Plain { PLAIN };
    enum class Scoped { SCOPED };
    EXPECT_TRUE(Fits("no marker, 100%%"));
    EXPECT_TRUE(Fits("%{public}s %{private}d %s", "a", 1, "b"));
    EXPECT_TRUE(Fits("%d%u%c%x%hhd", true, 1U, 'c', PLAIN, short{1}));
    EXPECT_TRUE(Fits("%ld %llu %zu %jd %td", 1L, 1ULL, size_t{1}, intmax_t{1}, ptrdiff_t{1}));
    EXPECT_TRUE(Fits("%{public}-*.*f %Lg %p %lf", 1, 2, 1.0F, 1.0L, "x", 1.0));

    EXPECT_FALSE(Fits("%{public}s") || Fits("none", 1) || Fits("%{public}d %{public}d", 1) || Fits("%*d", 1));
    EXPECT_FALSE(Fits("%{public}s", 1) || Fits("%{public}s", std::string("s")) || Fits("%{public}d", "text"));
    EXPECT_FALSE(Fits("%{public}d", 1L) || Fits("%{public}ld", 1) || Fits("%{public}d", 1.0) || Fits("%lf", 1.0L));
    EXPECT_FALSE(Fits("%.5*d", 1, 1) || Fits("%1.2.3d", 1) || Fits("%**d", 1, 1, 1) || Fits("%.-1d", 1));
    EXPECT_FALSE(Fits("%ls", "a") || Fits("%s", L"a") || Fits("%s", static_cast<void*>(nullptr)) || Fits("%hf", 1.0));
    EXPECT_FALSE(Fits("%{public}d", Scoped::SCOPED) || Fits("%n", nullptr) || Fits("%{secret}s", "a") || Fits("%", 1));
    EXPECT_FALSE(LogDetail::FormatFits<int>("%{private}d", false));
}

TEST(FileLog, GoesOnAfterAFullDiskWithoutATornLine) {
    if (!IsOnSmallDisk(LOG_DIR)) {
        GTEST_SKIP() << "there is no small disk to fill";
    }
    PlumeCapture capture;
    QF_FILE_LOGI("before");
    const std::string filler = std::string(LOG_DIR) + "filler";
    FileUtils::MakeFile(filler, std::string(2U << 20, 'f'));
    // What is left of the log's last page still takes some records; the one after them is cut short.
    for (int i = 0; i < 10; ++i) {
        QF_FILE_LOGI("%{public}s", std::string(1000, 'x').c_str());
    }
    EXPECT_EQ(Read(FIRST_LOG).back(), '\n');
    const size_t count = Lines(FIRST_LOG).size();
    EXPECT_LT(count, 6U);
    fs::remove(filler);
    QF_FILE_LOGI("after");
    const Records lines = Lines(FIRST_LOG);
    EXPECT_THAT(lines, AllOf(SizeIs(count + 1), Each(StartsWith("["))));
    EXPECT_THAT(lines.back(), EndsWith("]after"));
}

TEST(FileLog, TimeFollowsTheZoneAtOnce) {
    QuickFixLogger logger;
    for (const auto& [zone, minutes] : {std::pair("XXX-5:30", 330), std::pair("YYY4", -240)}) {
        setenv("TZ", zone, 1);
        tzset();
        char text[64] = {};
        const std::time_t before = std::time(nullptr) + minutes * 60;
        ASSERT_TRUE(logger.GetFormatTime(text, sizeof(text)));
        std::tm utc = {};
        char second[32] = {};
        strftime(second, sizeof(second), "%Y-%m-%d %H:%M:%S", gmtime_r(&before, &utc));
        const std::time_t after = before + 1;
        char nextSecond[32] = {};
        strftime(nextSecond, sizeof(nextSecond), "%Y-%m-%d %H:%M:%S", gmtime_r(&after, &utc));
        EXPECT_THAT(std::string(text), AllOf(AnyOf(StartsWith(second), StartsWith(nextSecond)), SizeIs(23)));
    }
}

// This program is built with hidden visibility: its logger and the library's must still be one.
TEST(FileLog, OneLoggerForTheLibraryAndItsCaller) {
    TestManager().CheckNativePatch();
    QF_FILE_LOGI("from the caller");
    DelayedSingleton<QuickFixLogger>::GetInstance()->RemoveLog();
    TestManager().CheckNativePatch();
    EXPECT_THAT(Lines(FIRST_LOG), ElementsAre(StartsWith("[test_manager(CheckNativePatch):")));
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
    EXPECT_THAT(Lines(FIRST_LOG), ElementsAre(EndsWith("]first words"), EndsWith("]last words")));
}

TEST(FileLog, ForkedChildrenLogWhileOtherThreadsDo) {
    EXPECT_TRUE(ForkedChildrenReturn(200, [] { QF_FILE_LOGI("a record"); }));
}

struct Grouping : std::numpunct<char> {
    char do_thousands_sep() const override { return '.'; }
    std::string do_grouping() const override { return "\1"; }
};

TEST(FileLog, GlobalLocaleChangesNoByte) {
    ASSERT_EQ(std::system("localedef -i de_DE -f UTF-8 /tmp/de_DE.UTF-8"), 0) << "the package locales is missing";
    setenv("LOCPATH", "/tmp", 1);
    ASSERT_NE(setlocale(LC_ALL, "de_DE.UTF-8"), nullptr);
    std::locale::global(std::locale(std::locale::classic(), new Grouping));
    PlumeCapture capture;
    DelayedSingleton<QuickFixLogger>::GetInstance()->OutputLog("x", "f", "g", 1234567);
    QF_FILE_LOGI("%{public}.1f", 1.5);
    std::locale::global(std::locale::classic());
    setlocale(LC_ALL, "C");
    EXPECT_EQ(capture.Take(), Records{"I TestBody: 1.5"});
    EXPECT_THAT(Lines(FIRST_LOG), ElementsAre("[f(g):1234567]x", EndsWith("]1.5")));
}

}  // namespace
