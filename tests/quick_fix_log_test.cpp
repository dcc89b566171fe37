#include "quick_fix_log.h"

#include "support/test.h"

namespace {

TEST(LogMacros, FilterByLevelAndEvaluateArgumentsAtMostOnce) {
    EXPECT_EQ(QuickFixPlumeWrapper::level_, QuickFixPlumeLevel::INFO) << "by default";
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
    const std::string log = ReadLog(FIRST_LOG);
    EXPECT_EQ(std::count(log.begin(), log.end(), '\n'), 12) << "the file log has all levels";
}

TEST(LogMacros, PrefixRecordsWithTheirSourceLocation) {
    PlumeCapture capture;
    const int line = __LINE__ + 1;
    QF_FILE_LOGI("100%% of %{public}s", "it");
    const std::string place = "[quick_fix_log_test(TestBody):" + std::to_string(line) + "]";
    EXPECT_EQ(capture.TakeRaw(), Records{"3/4/d002e03/QuickFixUitls/" + place + " 100% of it"});
    EXPECT_EQ(ReadLog(FIRST_LOG), "TIME" + place + "100% of it\n");
}

TEST(LogMacros, StripDirectoryAndExtensionFromTheFileName) {
    constexpr std::pair<const char*, const char*> CASES[] = {{"/a/b.c/file_utils.cpp", "file_utils"},
                                                             {"my.test.cpp", "my.test"},
                                                             {"/a.b/plain", "plain"},
                                                             {"/a/.hidden", ".hidden"}};
    for (const auto& [path, name] : CASES) {
        EXPECT_EQ(std::string(path).substr(LogDetail::BaseNameStart(path), LogDetail::BaseNameLength(path)), name);
    }
}

TEST(LogMacros, AcceptAnyExpressionAsAnArgument) {
    PlumeCapture capture;
    int outer = 1;
    // NOLINTNEXTLINE(bugprone-lambda-function-name): the test expects operator() as the function's name
    QF_FILE_LOGI(
        "%{public}d %{public}zu",
        [&outer] {
            QF_FILE_LOGI("inner %{public}d", outer);
            return ++outer;
        }(),
        std::vector<int>{1, 2, 3}.size());
    const unsigned char bytes[] = {'u', '\0'};
    signed char more[] = {'s', '\0'};
    QF_LOGI("%{public}s %{public}s %{public}.1lf", bytes, more, 0.5F);
    QF_FILE_LOGI("%{public}03d %{public}s", -7, static_cast<const char*>(nullptr));
    EXPECT_EQ(capture.Take(),
              (Records{"I operator(): inner 1", "I TestBody: 2 3", "I TestBody: u s 0.5", "I TestBody: -07 (null)"}));
    EXPECT_THAT(ReadLog(FIRST_LOG), testing::EndsWith("]-07 (null)\n"));
}

TEST(LogMacros, DropLongAndEmptyTextsFromTheFileLog) {
    PlumeCapture capture;
    for (const size_t length : {size_t{0}, size_t{1023}, size_t{1024}}) {
        QF_FILE_LOGI("%{public}s", std::string(length, 'x').c_str());
    }
    EXPECT_EQ(capture.Take().size(), 3U);
    const std::string log = ReadLog(FIRST_LOG);
    EXPECT_EQ(log.substr(log.find(']')), "]" + std::string(1023, 'x') + "\n");
}

template <typename... Args>
bool Fits(const char* format, Args... /*arguments*/) {
    return LogDetail::FormatFits<Args...>(format, true);
}

TEST(LogMacros, CheckFormatsAgainstTheirArguments) {
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

}  // namespace
