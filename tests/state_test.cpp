#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <locale>

#include "quick_fix_status_record.h"
#include "string_utils.h"
#include "support/files.h"
#include "support/plume_capture.h"

using namespace TEKLO::QuickFixEngine;

namespace {

constexpr char STATUS_FILE[] = "/tmp/status";

QuickFixStatusRecord& Record(const std::string& path, unsigned int mode) {
    QuickFixStatusRecord::GetInstance().InitStatusRecord(path, mode, "K");
    return QuickFixStatusRecord::GetInstance();
}

TEST(Strings, TrimTakesNoByteBeyondAscii) {
    std::locale::global(std::locale("C.UTF-8"));
    std::string text = " \t\n\v\f\r\xa0 a b\x85 \r\n";
    EXPECT_EQ(&StringUtils::Trim(text), &text);
    EXPECT_EQ(text, "\xa0 a b\x85");
    text = " a ";
    EXPECT_EQ(StringUtils::LTrim(text), "a ");
    EXPECT_EQ(StringUtils::RTrim(text), "a");
    text = "\n \t";
    EXPECT_EQ(StringUtils::RTrim(text), "");
    EXPECT_EQ(StringUtils::LTrim(text), "");
}

TEST(StatusRecord, AnyOtherUserKeepsModeAndOwner) {
    umask(0);
    ASSERT_EQ(chmod("/tmp", 0777), 0);
    const bool root = getuid() == 0;
    ASSERT_TRUE(!root || setresuid(65534, 65534, 0) == 0);
    PlumeCapture capture(QuickFixPlumeLevel::DEBUG);
    Record(STATUS_FILE, 0640).SetStatus("1", "init", "");
    EXPECT_EQ(Mode(STATUS_FILE), 0640U);
    EXPECT_EQ(Stat(STATUS_FILE).st_uid, getuid());
    QuickFixStatusRecord::GetInstance().InitStatusRecord(STATUS_FILE, "K");
    QuickFixStatusRecord::GetInstance().SetStatus("loaded");
    EXPECT_EQ(Mode(STATUS_FILE), 0600U) << "by default";
    Record("/nowhere/status", 0640).SetStatus("1", "init", "");
    EXPECT_EQ(QuickFixStatusRecord::GetInstance().GetStatus().status, "init") << "the cache keeps what failed";
    ASSERT_TRUE(!root || setresuid(0, 0, 0) == 0);
    EXPECT_THAT(capture.Take(), testing::IsSupersetOf({"I GetRunningStage: current stage is sa",
                                                       "D SetStatus: SetStatus version_: 1, status: init, ErrorCode: .",
                                                       "E SetStatus: SetStatus failed. file path : /nowhere/status."}));
}

TEST(StatusRecord, AVeryLongLineTakesNoMemory) {
    constexpr off_t LENGTH = 200L << 20;
    Write(STATUS_FILE, "PatchVersion=" + std::string(300, 'v'));
    std::filesystem::resize_file(STATUS_FILE, LENGTH);
    std::ofstream(STATUS_FILE, std::ios::app) << "\nK=" << std::string(253, 's') << "\nErrorCode=7,";
    rusage before = {};
    getrusage(RUSAGE_SELF, &before);
    QuickFixStatusRecord::GetInstance().InitStatusRecord(STATUS_FILE, "K");
    rusage after = {};
    getrusage(RUSAGE_SELF, &after);
    EXPECT_LT(after.ru_maxrss - before.ru_maxrss, 8 << 10) << "KiB";
    const QuickFixStatus status = QuickFixStatusRecord::GetInstance().GetStatus();
    EXPECT_EQ(status.version, std::string(242, 'v'));
    EXPECT_EQ(status.status, std::string(253, 's'));
    EXPECT_EQ(status.errorCode, "7,");
}

}  // namespace
