#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <regex>

#include "platform/bounds_checked.h"
#include "platform/parameter.h"
#include "platform/plume_log.h"
#include "support/files.h"

namespace {

/// What the port writes to standard error for one record.
template <typename... Args>
std::string Printed(int level, const char* format, Args... args) {
    testing::internal::CaptureStderr();
    PlumePrint(3, level, 0xD002E03, "QuickFixUitls", format, args...);
    return testing::internal::GetCapturedStderr();
}

std::string TextOf(const std::string& line) {
    const size_t start = line.find("QuickFixUitls: ");
    return start == std::string::npos ? "MALFORMED " + line : line.substr(start + 15);
}

TEST(PlumePrint, OneLineARecordOnStandardError) {
    const std::regex shape(R"(^I \d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{3} D002E03 QuickFixUitls: a b 1\n$)");
    const std::string line = Printed(4, "a %{public}s %{public}d", "b", 1);
    EXPECT_TRUE(std::regex_match(line, shape)) << line;
    EXPECT_EQ(Printed(3, "x").substr(0, 2), "D ");
    EXPECT_EQ(Printed(5, "x").substr(0, 2), "W ");
    EXPECT_EQ(Printed(6, "x").substr(0, 2), "E ");
    EXPECT_EQ(TextOf(Printed(6, "a\nb\x1b[2J%{public}s\tc", "\r")), "a\\nb\\x1b[2J\\x0d\tc\n");
    EXPECT_EQ(TextOf(Printed(6, "%{public}s", std::string(9000, 'x').c_str())).size(), 9001U);
}

TEST(PlumePrint, ShowsOnlyWhatIsPublic) {
    EXPECT_EQ(TextOf(Printed(4, "%s %{private}d %{public}s", "secret", 7, "shown")), "<private> <private> shown\n");
    EXPECT_EQ(
        TextOf(Printed(4, "%ld %lld %zu %f %Lf %c %p %{public}d", 1L, 2LL, size_t{3}, 4.0, 5.0L, 'c', nullptr, 8)),
        "<private> <private> <private> <private> <private> <private> <private> 8\n");
    EXPECT_EQ(TextOf(Printed(4, "%*d|%{public}-*.*f|", 5, 1, 6, 2, 1.5)), "<private>|1.50  |\n");
    EXPECT_EQ(TextOf(Printed(4, "%{public}#x %{public}5.1Lf %{public}c 100%%", 255, 1.25L, 'c')),
              "0xff   1.2 c 100%\n");
    EXPECT_EQ(TextOf(Printed(4, "%{public}.*s|%{public}.*s", -1, "abc", 2, "abc")), "abc|ab\n");
    EXPECT_EQ(TextOf(Printed(4, "%{public}s", "\xc2\x9b\xc2\xa0")), "\\xc2\x9b\xc2\xa0\n");
    EXPECT_EQ(TextOf(Printed(4, "%{public}s", static_cast<const char*>(nullptr))), "(null)\n");
    EXPECT_EQ(TextOf(Printed(4, "%{public}d %y %{public}s", 1, 2)), "1 \n") << "unknown: nothing behind it is guessed";
    EXPECT_EQ(TextOf(Printed(4, "at its end %")), "at its end \n");
}

// A stand-in for the journal's end of the socket; what is sent to it is the real thing.
TEST(PlumePrint, GoesToTheJournalWhereItsSocketIs) {
    std::filesystem::create_directories("/run/systemd/journal");
    const int journal = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    std::string("/run/systemd/journal/socket").copy(address.sun_path, sizeof(address.sun_path) - 1);
    ASSERT_EQ(bind(journal, reinterpret_cast<sockaddr*>(&address), sizeof(address)), 0);

    EXPECT_EQ(Printed(6, "to %{public}s", "it"), "");
    std::array<char, 4096> buffer = {};
    const ssize_t size = recv(journal, buffer.data(), buffer.size(), MSG_DONTWAIT);
    ASSERT_GT(size, 0);
    EXPECT_EQ(std::string(buffer.data(), static_cast<size_t>(size)),
              "MESSAGE=to it\nPRIORITY=3\nSYSLOG_IDENTIFIER=QuickFixUitls\nQUICKFIX_DOMAIN=D002E03\n");

    setenv("QUICKFIX_LOG", "stderr", 1);
    EXPECT_EQ(TextOf(Printed(6, "chosen")), "chosen\n");
    unsetenv("QUICKFIX_LOG");
    close(journal);
    EXPECT_EQ(TextOf(Printed(6, "nobody listens")), "nobody listens\n");
}

TEST(BoundsChecked, NeverWriteBehindTheirBound) {
    char text[8] = "unset";
    EXPECT_EQ(sprintf_s(text, 4, "%d", 123), 3);
    EXPECT_STREQ(text, "123");
    EXPECT_EQ(sprintf_s(text, 4, "%d", 1234), -1);
    EXPECT_STREQ(text, "");
    EXPECT_EQ(sprintf_s(text, 0, "x"), -1);

    EXPECT_EQ(strcpy_s(text, 4, "abc"), 0);
    EXPECT_NE(strcat_s(text, 4, "d"), 0);
    EXPECT_STREQ(text, "");
    EXPECT_EQ(strcpy_s(text, 5, "abc"), 0);
    EXPECT_EQ(strcat_s(text, 5, "d"), 0);
    EXPECT_STREQ(text, "abcd");
    EXPECT_NE(strcpy_s(text, 4, "abcd"), 0);
    EXPECT_STREQ(text, "");
    EXPECT_NE(strcpy_s(text, 0, ""), 0);

    std::string block = "xxxx";
    EXPECT_EQ(memset_s(block.data(), 3, 'y', 2), 0);
    EXPECT_EQ(block, "yyxx");
    EXPECT_NE(memset_s(block.data(), 3, 'z', 4), 0);
    EXPECT_EQ(block, "zzzx");
}

// The digest passes the bound of its whole buffer for each pair of digits.
TEST(BoundsChecked, BoundMayExceedWhatIsLeftOfTheBuffer) {
    char text[5] = {};
    EXPECT_EQ(sprintf_s(text, sizeof(text), "%02x", 0xab), 2);
    EXPECT_EQ(sprintf_s(text + 2, sizeof(text), "%02x", 0x0c), 2);
    EXPECT_STREQ(text, "ab0c");
}

TEST(GetParameter, ReadsLinesOfKeyAndValue) {
    const std::pair<std::string, std::string> cases[] = {
        {"", "default"},
        {"key=abcdef\n", "abcdef"},
        {"other=1\n key =\ta=b c \r\n", "a=b c"},
        {"# key=9\n=8\nno sign\nkey=1\nkey=2", "2"},
        {"key=\n", ""},
        {"keyx=1\n", "default"},
        {std::string("key=a\0b\n", 8), "a"},
    };
    std::array<char, 16> value = {};
    setenv("QUICKFIX_PARAMETERS", "/tmp/parameters", 1);
    EXPECT_EQ(GetParameter("key", "", value.data(), value.size()), 0) << "a missing file is an empty store";
    for (const auto& [content, expected] : cases) {
        Write("/tmp/parameters", content);
        EXPECT_EQ(GetParameter("key", "default", value.data(), value.size()), static_cast<int>(expected.size()));
        EXPECT_EQ(value.data(), expected) << content;
    }
    Write("/tmp/parameters", "key=abcdef\n");
    EXPECT_EQ(GetParameter("key", "", value.data(), 4), 3);
    EXPECT_STREQ(value.data(), "abc");
    EXPECT_LE(GetParameter("key", "", value.data(), 0), 0);
    setenv("QUICKFIX_PARAMETERS", "/tmp", 1);
    EXPECT_LT(GetParameter("key", "", value.data(), value.size()), 0) << "it can't be read";
}

}  // namespace
