#include "string_utils.h"

#include "support/test.h"

namespace {

TEST(Strings, SplitDropsEmptyPieces) {
    const std::pair<std::string, std::vector<std::string>> cases[] = {
        {"", {}}, {",,,", {}}, {"abc", {"abc"}}, {",,a, b,,", {"a", " b"}}, {"1,2,3", {"1", "2", "3"}}};
    for (auto [text, pieces] : cases) {
        EXPECT_EQ(StringUtils::Split(text, ','), pieces) << text;
    }
}

TEST(Strings, TrimRemovesOnlyAsciiBlanks) {
    std::locale::global(std::locale("C.UTF-8"));
    std::string text = " \t\n\v\f\r\xa0 a b\x85 \v\r\n";
    EXPECT_EQ(&StringUtils::Trim(text), &text);
    EXPECT_EQ(text, "\xa0 a b\x85");
    text = " a ";
    EXPECT_EQ(StringUtils::LTrim(text), "a ");
    EXPECT_EQ(StringUtils::RTrim(text), "a");
    text = "\n \t";
    EXPECT_EQ(StringUtils::RTrim(text), "");
    EXPECT_EQ(StringUtils::LTrim(text), "");
}

TEST(Strings, GetKeyCmdlineStrReturnsTheFirstTokenThatContainsTheKey) {
    if (Read("/proc/cmdline") != Read(TEST_DATA "/cmdline")) {
        GTEST_SKIP() << "/proc/cmdline is the kernel's";
    }
    const std::pair<std::string, std::string> cases[] = {
        {"ab", "xab=0"}, {"quickfix", "quickfix=1\n"}, {"", "console=ttyS0"}};
    PlumeCapture capture;
    for (const auto& [key, word] : cases) {
        EXPECT_EQ(StringUtils::GetKeyCmdlineStr(key), word);
        EXPECT_EQ(capture.TakeFromBothLogs(), Records{"I GetKeyCmdlineStr: GetKpatchCmdline: " + word});
    }
    EXPECT_EQ(StringUtils::GetKeyCmdlineStr("absent"), "");
    EXPECT_EQ(capture.TakeFromBothLogs(), Records{"E GetKeyCmdlineStr: Get key no res from cmdline."});
}

}  // namespace
