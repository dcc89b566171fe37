#include "platform/parameter.h"
#include "platform/plume_log.h"
#include "support/test.h"

namespace {

/// Returns the port's output on standard error for one record.
template <typename... Args>
std::string Printed(int level, const char* format, Args... args) {
    testing::internal::CaptureStderr();
    PlumePrint(3, level, 0xD002E03, "QuickFixUitls", format, args...);
    return testing::internal::GetCapturedStderr();
}

template <typename... Args>
std::string Text(const char* format, Args... args) {
    const std::string line = Printed(6, format, args...);
    return line.substr(line.find("QuickFixUitls: ") + 15);
}

TEST(PlumePrint, WritesOneLinePerRecordToStandardError) {
    const std::regex shape(R"(^I \d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{3} D002E03 QuickFixUitls: a b 1\n$)");
    const std::string line = Printed(4, "a %{public}s %{public}d", "b", 1);
    EXPECT_TRUE(std::regex_match(line, shape)) << line;
    EXPECT_EQ(Printed(3, "x").substr(0, 2) + Printed(5, "x").substr(0, 2) + Printed(6, "x").substr(0, 2), "D W E ");
    EXPECT_EQ(Text("a\nb\x1b[2J%{public}s\tc\x7f", "\r\xc2\x9b\xc2\xa0"),
              "a\\nb\\x1b[2J\\x0d\\xc2\\x9b\xc2\xa0\tc\\x7f\n");
    EXPECT_EQ(Text("%{public}s", std::string(9000, 'x').c_str()).size(), 9001U);
}

TEST(PlumePrint, ShowsOnlyPublicArguments) {
    EXPECT_EQ(Text("%s %{private}d %ld %lld %zu %f %Lf %c %p %{public}s", "secret", 7, 1L, 2LL, size_t{3}, 4.0, 5.0L,
                   'c', nullptr, "shown"),
              "<private> <private> <private> <private> <private> <private> <private> <private> <private> shown\n");
    EXPECT_EQ(Text("%*d|%{public}-*.*f|%{public}.*s|%{public}.*s", 5, 1, 6, 2, 1.5, -1, "abc", 2, "abc"),
              "<private>|1.50  |abc|ab\n");
    EXPECT_EQ(Text("%{public}#x %{public}5.1Lf %{public}c 100%%", 255, 1.25L, 'c'), "0xff   1.2 c 100%\n");
    EXPECT_EQ(Text("%{public}s", static_cast<const char*>(nullptr)), "(null)\n");
    EXPECT_EQ(Text("%{public}d %y %{public}s", 1, 2), "1 \n") << "drops the text after an unknown conversion";
    EXPECT_EQ(Text("at its end %"), "at its end \n");
}

TEST(PlumePrint, SurvivesStandardErrorWithoutAReader) {
    const auto print = [](bool toSocket, bool isPending) {
        int ends[2] = {};
        (void)!(toSocket ? socketpair(AF_UNIX, SOCK_STREAM, 0, ends) : pipe(ends));
        close(ends[0]);
        dup2(ends[1], STDERR_FILENO);
        sigset_t signals;
        sigemptyset(&signals);
        sigaddset(&signals, SIGPIPE);
        if (isPending) {
            pthread_sigmask(SIG_BLOCK, &signals, nullptr);
            raise(SIGPIPE);
        }
        PlumePrint(3, 6, 0xD002E03, "QuickFixUitls", "lost");
        sigset_t blocked;
        pthread_sigmask(SIG_SETMASK, nullptr, &blocked);
        sigpending(&signals);
        const bool isKept = sigismember(&signals, SIGPIPE) == isPending && sigismember(&blocked, SIGPIPE) == isPending;
        _exit(isKept ? 7 : 8);
    };
    for (const bool toSocket : {false, true}) {
        EXPECT_EXIT(print(toSocket, false), testing::ExitedWithCode(7), "") << toSocket;
        EXPECT_EXIT(print(toSocket, true), testing::ExitedWithCode(7), "") << toSocket;
    }
}

// The test listens at the path of the journal's socket.
TEST(PlumePrint, WritesToTheJournalIfItsSocketExists) {
    std::filesystem::create_directories("/run/systemd/journal");
    const int journal = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    const sockaddr_un address = {AF_UNIX, "/run/systemd/journal/socket"};
    ASSERT_EQ(bind(journal, reinterpret_cast<const sockaddr*>(&address), sizeof(address)), 0);

    EXPECT_EQ(Printed(6, "to %{public}s", "it"), "");
    std::string sent(4096, '\0');
    sent.resize(static_cast<size_t>(std::max<ssize_t>(recv(journal, sent.data(), sent.size(), MSG_DONTWAIT), 0)));
    EXPECT_EQ(sent, "MESSAGE=to it\nPRIORITY=3\nSYSLOG_IDENTIFIER=QuickFixUitls\nQUICKFIX_DOMAIN=D002E03\n");

    setenv("QUICKFIX_LOG", "stderr", 1);
    EXPECT_EQ(Text("chosen"), "chosen\n");
    unsetenv("QUICKFIX_LOG");
    close(journal);
    EXPECT_EQ(Text("no reader"), "no reader\n");
}

/// Returns the result and the buffer of GetParameter for this file content and buffer length.
std::string Parameter(const std::string& content, unsigned int length = 16) {
    Write("/tmp/parameters", content);
    std::array<char, 16> value = {};
    const int copied = GetParameter("key", "default", value.data(), length);
    return std::to_string(copied) + " '" + value.data() + "'";
}

TEST(GetParameter, ReadsLinesOfKeyAndValue) {
    setenv("QUICKFIX_PARAMETERS", "/tmp/parameters", 1);
    EXPECT_EQ(Parameter(""), "7 'default'");
    EXPECT_EQ(Parameter("key=abcdef\n"), "6 'abcdef'");
    EXPECT_EQ(Parameter("key=abcdef\n", 4), "3 'abc'");
    EXPECT_EQ(Parameter("key=abcdef\n", 0), "-1 ''");
    EXPECT_EQ(Parameter("other=1\n key =\ta=b c \r\n"), "5 'a=b c'");
    EXPECT_EQ(Parameter("# key=9\n=8\nno sign\nkey=1\nkey=2"), "1 '2'");
    EXPECT_EQ(Parameter("key=\n"), "0 ''");
    EXPECT_EQ(Parameter("keyx=1\n"), "7 'default'");
    EXPECT_EQ(Parameter(std::string("key=a\0b\n", 8)), "1 'a'");
    setenv("QUICKFIX_PARAMETERS", "/tmp/missing", 1);
    EXPECT_EQ(Parameter("key=1\n"), "7 'default'") << "a missing file counts as empty";
    setenv("QUICKFIX_PARAMETERS", "/tmp", 1);
    EXPECT_EQ(Parameter("key=1\n"), "-1 ''") << "a directory can't be read";
}

}  // namespace
