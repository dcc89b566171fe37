#include "quick_fix_status_record.h"

#include "support/test.h"
#include "sys_utils.h"

namespace {

constexpr char PATH[] = "/tmp/status";
const std::string MISSING = "I GetStatusFromFile: can not read /tmp/status, may be unexist";

QuickFixStatusRecord& Record() {
    return QuickFixStatusRecord::GetInstance();
}

std::string Stage() {
    return std::string("I GetRunningStage: current stage is ") + (getuid() == 0 ? "init" : "sa");
}

std::string Text(const QuickFixStatus& status) {
    return status.version + "|" + status.status + "|" + status.errorCode;
}

TEST(StatusRecord, ReadsValuesByLineNumber) {
    const std::string v(300, 'v');
    const struct {
        const char* name;
        std::string content, status;
    } cases[] = {
        {"as written", "PatchVersion=1.0.2\nK=success\nErrorCode=3,7,\n", "1.0.2|success|3,7,"},
        {"other keys, no last line feed", "a=1\nX=loaded\nb=2", "1|loaded|2"},
        {"one line", "PatchVersion=2", "2||"},
        {"a line without = ends the read", "no sign\nK=success\nErrorCode=1,\n", "||"},
        {"only the first = counts", "PatchVersion=\nK=a=b=c\nnothing", "|a=b=c|"},
        {"a line is read up to 255 bytes", "PatchVersion=" + v + "\nK=success\nErrorCode=1,\n",
         v.substr(0, 242) + "|success|1,"},
        {"empty", "", "||"},
    };
    PlumeCapture capture;
    for (const auto& [name, content, status] : cases) {
        Write(PATH, content);
        Record().InitStatusRecord(PATH, "K");
        EXPECT_EQ(Text(Record().GetStatus()), status) << name;
    }
    EXPECT_EQ(capture.Take(), Records{});
    fs::remove(PATH);
    Record().InitStatusRecord(PATH, "K");
    EXPECT_EQ(Text(Record().GetStatus()), "||");
    EXPECT_EQ(capture.TakeFromBothLogs(), Records{MISSING});
}

TEST(StatusRecord, PartialSettersReReadTheFile) {
    PlumeCapture capture(QuickFixPlumeLevel::DEBUG);
    Record().InitStatusRecord(PATH, "Key");
    Record().SetStatus("1.0", "init", "3,");
    EXPECT_EQ(Read(PATH), "PatchVersion=1.0\nKey=init\nErrorCode=3,\n");
    EXPECT_EQ(capture.TakeFromBothLogs(),
              (Records{MISSING, Stage(), "D SetStatus: SetStatus version_: 1.0, status: init, ErrorCode: 3,."}));
    Write(PATH, "PatchVersion=2.0\nKey=init\nErrorCode=4,\n");
    Record().SetStatus("loaded");
    EXPECT_EQ(Text(Record().GetStatus()), "2.0|loaded|4,");
    Write(PATH, "PatchVersion=3.0\nKey=init\nErrorCode=4,\n");
    Record().SetStatus("failed", "5,");
    EXPECT_EQ(Read(PATH), "PatchVersion=3.0\nKey=failed\nErrorCode=5,\n");
    fs::remove(PATH);
    Record().SetStatus("failed");
    EXPECT_EQ(Read(PATH), "PatchVersion=\nKey=failed\nErrorCode=\n");

    QuickFixStatus whole = {"9", "9", "9"};
    Record().SetStatus(whole);
    EXPECT_EQ(Text(Record().GetStatus()), "|failed|") << "SetStatus(QuickFixStatus&) doesn't change the cache";
    EXPECT_EQ(Text(Record().GetStatusFromFile()), "9|9|9");
    Record().SetStatusFilePath("/tmp/other");
    Record().SetStatus(whole);
    EXPECT_EQ(Read("/tmp/other"), Read(PATH));
    Record().ClearStatusRecord();
    Record().ClearStatusRecord();
    EXPECT_EQ(Text(Record().GetStatus()), "||");
    EXPECT_TRUE(fs::exists(PATH) && !fs::exists("/tmp/other"));
}

TEST(StatusRecord, SetsMode0755AndTheOwnerOfTheQuickFixDirectoryAsRoot) {
    if (!CanChangeOwners()) {
        GTEST_SKIP() << "changing owners needs root";
    }
    ASSERT_EQ(chown("/data/update/quickfix", 1234, 2345), 0);
    Record().InitStatusRecord(PATH, "K");
    Record().SetStatus("1", "init", "");
    EXPECT_EQ(Owner(PATH), "1234:2345");
    EXPECT_EQ(Mode(PATH), 0755U);
}

TEST(StatusRecord, KeepsModeAndOwnerAsAnotherUser) {
    umask(0);
    ASSERT_EQ(chmod("/tmp", 0777), 0);
    const bool root = getuid() == 0;
    EXPECT_EQ(SysUtils::GetRunningStage(), root ? STAGE_INIT : STAGE_SA);
    ASSERT_TRUE(!root || setresuid(65534, 65534, 0) == 0);
    EXPECT_EQ(SysUtils::GetRunningStage(), STAGE_SA);
    Record().InitStatusRecord(PATH, 0640, "K");
    PlumeCapture capture;
    Record().SetStatus("1", "init", "");
    EXPECT_EQ(capture.Take().front(), "I GetRunningStage: current stage is sa");
    EXPECT_EQ(Mode(PATH), 0640U);
    EXPECT_EQ(Stat(PATH).st_uid, getuid());
    Record().InitStatusRecord(PATH, "K");
    Record().SetStatus("loaded");
    EXPECT_EQ(Mode(PATH), 0600U) << "by default";
    ASSERT_TRUE(!root || setresuid(0, 0, 0) == 0);
}

TEST(StatusRecord, CachesValuesThatCouldNotBeWritten) {
    Record().InitStatusRecord("/nowhere/status", 0640, "K");
    PlumeCapture capture;
    Record().SetStatus("1", "init", "");
    EXPECT_EQ(Text(Record().GetStatus()), "1|init|");
    EXPECT_EQ(capture.Take(), (Records{Stage(), "E SetStatus: SetStatus failed. file path : /nowhere/status."}));
}

TEST(StatusRecord, ReadsAVeryLongLineInLittleMemory) {
    constexpr off_t LENGTH = 200L << 20;
    Write(PATH, "PatchVersion=" + std::string(300, 'v'));
    fs::resize_file(PATH, LENGTH);
    std::ofstream(PATH, std::ios::app) << "\nK=" << std::string(253, 's') << "\nErrorCode=7,";
    rusage before = {};
    getrusage(RUSAGE_SELF, &before);
    Record().InitStatusRecord(PATH, "K");
    rusage after = {};
    getrusage(RUSAGE_SELF, &after);
    EXPECT_LT(after.ru_maxrss - before.ru_maxrss, 8 << 10) << "KiB";
    EXPECT_EQ(Text(Record().GetStatus()), std::string(242, 'v') + "|" + std::string(253, 's') + "|7,");
}

}  // namespace
