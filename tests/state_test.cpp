#include <cjson/cJSON.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <climits>
#include <cstdlib>
#include <locale>
#include <memory>
#include <random>
#include <stdexcept>
#include <tuple>

#include "error_code_wrapper.h"
#include "json_tool.h"
#include "memory_platform.h"
#include "quick_fix_status_record.h"
#include "string_utils.h"
#include "support/files.h"
#include "support/plume_capture.h"
#include "sys_utils.h"

namespace fs = std::filesystem;
using namespace TEKLO::QuickFixEngine;
using Json = std::unique_ptr<cJSON, decltype(&cJSON_Delete)>;

namespace {

constexpr char STATUS_FILE[] = "/tmp/status";

Json Parse(const std::string& content) {
    Write("/tmp/x.json", content);
    return {JsonTool::ParseJsonFromFile("/tmp/x.json"), cJSON_Delete};
}

std::string Text(const QuickFixStatus& status) {
    return status.version + "|" + status.status + "|" + status.errorCode;
}

QuickFixStatusRecord& Record(const std::string& path = STATUS_FILE, unsigned int mode = 0600) {
    QuickFixStatusRecord::GetInstance().InitStatusRecord(path, mode, "K");
    return QuickFixStatusRecord::GetInstance();
}

TEST(Strings, SplitAndTrim) {
    const std::pair<std::string, std::vector<std::string>> splits[] = {
        {"", {}}, {",,,", {}}, {"abc", {"abc"}}, {",,a, b,,", {"a", " b"}}, {"1,2,3", {"1", "2", "3"}}};
    for (auto [text, pieces] : splits) {
        EXPECT_EQ(StringUtils::Split(text, ','), pieces) << text;
    }
    std::locale::global(std::locale("C.UTF-8"));
    setlocale(LC_ALL, "C.UTF-8");
    std::string text = " \t\n\v\f\r\xa0 a b\x85 \r\n";
    EXPECT_EQ(&StringUtils::Trim(text), &text);
    EXPECT_EQ(text, "\xa0 a b\x85") << "bytes beyond ASCII are no white space";
    text = " a ";
    EXPECT_EQ(StringUtils::LTrim(text), "a ");
    EXPECT_EQ(StringUtils::RTrim(text), "a");
    text = "\n \t";
    EXPECT_EQ(StringUtils::RTrim(text), "");
    EXPECT_EQ(StringUtils::LTrim(text), "");
}

// /proc/cmdline is tests/data/cmdline in here.
TEST(Strings, KernelCommandLine) {
    PlumeCapture capture;
    EXPECT_EQ(StringUtils::GetKeyCmdlineStr("ab"), "xab=0") << "any token that contains the key";
    EXPECT_EQ(StringUtils::GetKeyCmdlineStr("quickfix"), "quickfix=1\n");
    EXPECT_EQ(StringUtils::GetKeyCmdlineStr(""), "console=ttyS0");
    EXPECT_EQ(StringUtils::GetKeyCmdlineStr("absent"), "");
    EXPECT_EQ(capture.Take(), (Records{"I GetKeyCmdlineStr: GetKpatchCmdline: xab=0",
                                       "I GetKeyCmdlineStr: GetKpatchCmdline: quickfix=1\n",
                                       "I GetKeyCmdlineStr: GetKpatchCmdline: console=ttyS0",
                                       "E GetKeyCmdlineStr: Get key no res from cmdline."}));
}

TEST(ErrorCodes, ListAndText) {
    ErrorCodeWrapper codes;
    EXPECT_EQ(codes.GetErrorCode(), "");
    for (const int code : {3, 1, 3, -2}) {
        codes.AddErrorCode(static_cast<ErrorCode>(code));
    }
    EXPECT_EQ(codes.GetErrorCode(), "3,1,-2,");
    codes.ConvertErrCode(",,,");
    codes.ConvertErrCode(" 5x,5,,2147483647,");
    EXPECT_EQ(codes.GetErrorCode(), "3,1,-2,5,5,2147483647,");
    codes.ClearErrorCode();
    EXPECT_THROW(codes.ConvertErrCode("7,x,8"), std::invalid_argument);
    EXPECT_THROW(codes.ConvertErrCode("2147483648"), std::out_of_range);
    EXPECT_EQ(codes.GetErrorCode(), "7,");
}

TEST(JsonFiles, EveryGetterAgainstEveryType) {
    struct Case {
        const char* member;
        int asInt;
        const char* asString;
        bool asBool;
        const char* types;  // of int, string, bool, array, object
    };
    const Case cases[] = {
        {"7", 7, "-", true, "i"},       {"3.9", 3, "-", true, "i"},   {"1e99", INT_MAX, "-", true, "i"},
        {R"("5")", -1, "5", true, "s"}, {R"("")", -1, "", true, "s"}, {"true", -1, "-", true, "b"},
        {"false", -1, "-", false, "b"}, {"null", -1, "-", true, ""},  {"[1]", -1, "-", true, "a"},
        {"{}", -1, "-", true, "o"},
    };
    for (const char* locale : {"C", "de_DE.UTF-8"}) {
        (void)std::system("localedef -i de_DE -f UTF-8 /tmp/de_DE.UTF-8");
        setenv("LOCPATH", "/tmp", 1);
        ASSERT_NE(setlocale(LC_ALL, locale), nullptr);
        for (const Case& c : cases) {
            const Json json = Parse(std::string(R"({"Key": )") + c.member + "}");
            cJSON* root = json.get();
            EXPECT_EQ(JsonTool::GetInt(root, "key", -1), c.asInt) << c.member;
            EXPECT_EQ(JsonTool::GetString(root, "KEY", "-"), c.asString) << c.member;
            EXPECT_EQ(JsonTool::GetBool(root, "key", true), c.asBool) << c.member;
            const std::string types =
                std::string(JsonTool::IsInt(root, "key") ? "i" : "") + (JsonTool::IsString(root, "key") ? "s" : "") +
                (JsonTool::IsBoolean(root, "key") ? "b" : "") + (JsonTool::IsArray(root, "key") ? "a" : "") +
                (JsonTool::IsObject(root, "key") ? "o" : "");
            EXPECT_EQ(types, c.types) << c.member;
            EXPECT_EQ(JsonTool::GetArray(root, "key") != nullptr, types == "a");
            EXPECT_EQ(JsonTool::GetObject(root, "key") != nullptr, types == "o");
            EXPECT_EQ(JsonTool::GetInt(root, "other", -1) + JsonTool::GetInt(nullptr, "key", -1), -2);
        }
    }
    setlocale(LC_ALL, "C");
}

TEST(JsonFiles, Documents) {
    PlumeCapture capture;
    const std::string deep(1001, '[');
    for (const std::string& content : {std::string("no json"), std::string("{\"a\":"), deep, std::string("\0{}", 3)}) {
        EXPECT_EQ(Parse(content), nullptr) << content;
    }
    EXPECT_NE(Parse("{} and more"), nullptr);
    EXPECT_NE(Parse(std::string(1000, '[') + std::string(1000, ']')), nullptr);
    EXPECT_EQ(capture.Take(), Records{});
    EXPECT_EQ(Parse(""), nullptr);
    EXPECT_EQ(JsonTool::ParseJsonFromFile("/tmp/missing"), nullptr);
    EXPECT_EQ(capture.Take(), (Records{"E ParseJsonFromFile: jsonString is empty.",
                                       "E GetFileStream: filePath: /tmp/missing is an invalid path",
                                       "E ParseJsonFromFile: jsonString is empty."}));
}

TEST(StatusRecord, ReadsByPosition) {
    const std::string longVersion(300, 'v');
    const std::pair<std::string, std::string> cases[] = {
        {"PatchVersion=1.0.2\nK=success\nErrorCode=3,7,\n", "1.0.2|success|3,7,"},
        {"a=1\nX=loaded\nb=2", "1|loaded|2"},
        {"PatchVersion=2", "2||"},
        {"no sign\nK=success\nErrorCode=1,\n", "||"},
        {"PatchVersion=\nK=a=b=c\nnothing", "|a=b=c|"},
        {"PatchVersion=" + longVersion + "\nK=success\nErrorCode=1,\n", std::string(242, 'v') + "|success|1,"},
        {"", "||"},
    };
    for (const auto& [content, expected] : cases) {
        Write(STATUS_FILE, content);
        EXPECT_EQ(Text(Record().GetStatus()), expected) << content;
    }
    PlumeCapture capture;
    fs::remove(STATUS_FILE);
    EXPECT_EQ(Text(Record().GetStatus()), "||");
    EXPECT_EQ(capture.Take(), Records{"I GetStatusFromFile: can not read /tmp/status, may be unexist"});
}

TEST(StatusRecord, PartialSettersTakeTheRestFromTheFile) {
    QuickFixStatusRecord& record = Record();
    record.SetStatus("1.0", "init", "3,");
    EXPECT_EQ(Read(STATUS_FILE), "PatchVersion=1.0\nK=init\nErrorCode=3,\n");
    Write(STATUS_FILE, "PatchVersion=2.0\nK=init\nErrorCode=4,\n");
    record.SetStatus("loaded");
    EXPECT_EQ(Text(record.GetStatus()), "2.0|loaded|4,");
    record.SetStatus("failed", "5,");
    EXPECT_EQ(Read(STATUS_FILE), "PatchVersion=2.0\nK=failed\nErrorCode=5,\n");
    fs::remove(STATUS_FILE);
    record.SetStatus("failed");
    EXPECT_EQ(Read(STATUS_FILE), "PatchVersion=\nK=failed\nErrorCode=\n");
    QuickFixStatus other = {"9", "9", "9"};
    record.SetStatus(other);
    EXPECT_EQ(Text(record.GetStatus()) + Text(record.GetStatusFromFile()), "|failed|9|9|9");
    record.ClearStatusRecord();
    record.ClearStatusRecord();
    EXPECT_FALSE(fs::exists(STATUS_FILE));
    EXPECT_EQ(Text(record.GetStatus()), "||");
}

TEST(StatusRecord, UserZeroHandsTheFileOver) {
    if (getuid() != 0) {
        GTEST_SKIP() << "giving a file away takes root";
    }
    ASSERT_EQ(chown("/data/update/quickfix", 1234, 2345), 0);
    Record().SetStatus("1", "init", "");
    EXPECT_EQ(Mode(STATUS_FILE), 0755U);
    EXPECT_EQ(Stat(STATUS_FILE).st_uid, 1234U);
    EXPECT_EQ(Stat(STATUS_FILE).st_gid, 2345U);
}

TEST(StatusRecord, AnyOtherUserKeepsModeAndOwner) {
    umask(0);
    fs::permissions("/tmp", fs::perms::all);
    const bool root = getuid() == 0;
    ASSERT_TRUE(!root || setresuid(65534, 65534, 0) == 0);
    PlumeCapture capture(QuickFixPlumeLevel::DEBUG);
    Record(STATUS_FILE, 0640).SetStatus("1", "init", "");
    EXPECT_EQ(Mode(STATUS_FILE), 0640U);
    EXPECT_EQ(Stat(STATUS_FILE).st_uid, getuid());
    Record("/nowhere/status").SetStatus("1", "init", "");
    EXPECT_EQ(Text(QuickFixStatusRecord::GetInstance().GetStatus()), "1|init|") << "the cache keeps what failed";
    ASSERT_TRUE(!root || setresuid(0, 0, 0) == 0);
    EXPECT_THAT(capture.Take(), testing::IsSupersetOf({"I GetRunningStage: current stage is sa",
                                                       "D SetStatus: SetStatus version_: 1, status: init, ErrorCode: .",
                                                       "E SetStatus: SetStatus failed. file path : /nowhere/status."}));
}

TEST(SysUtils, BaseVersion) {
    const std::string constant = "const.comp.kt.product_base_version.real";
    const std::string readOnly = "ro.comp.kt.product_base_version.real";
    const std::vector<std::tuple<std::string, std::string, std::string>> steps = {
        {"other", "1", ""},
        {readOnly, "1.0", "1.0"},
        {constant, "2.0", "2.0"},
        {constant, "", "1.0"},
        {constant, std::string(300, 'x'), std::string(255, 'x')},
    };
    PlumeCapture capture;
    for (const auto& [key, value, version] : steps) {
        TEKLO::MemoryPlatform::SetParameter(key, value);
        EXPECT_EQ(SysUtils::GetBaseVersion(), version) << key << "=" << value;
    }
    TEKLO::MemoryPlatform::FailParameters(-2);
    EXPECT_EQ(SysUtils::GetBaseVersion(), "");
    TEKLO::MemoryPlatform::FailParameters(0);
    const Records records = capture.Take();
    EXPECT_EQ(records.front(), "E GetBaseVersion: get base version error");
    EXPECT_EQ(records[1], "I GetBaseVersion: get base version: 1.0 success");
    EXPECT_EQ(records.back(), "E GetBaseVersion: get base version error");
}

TEST(OtherPeoplesFiles, NothingThatIsReadCrashes) {
    std::mt19937 random(20);
    const std::string alphabet = std::string("=\n#{}[]\":,0 aK\\\"\xff\x80\r") + '\0';
    PlumeCapture capture;
    for (int i = 0; i < 3000; ++i) {
        std::string content(random() % 400, '\0');
        std::generate(content.begin(), content.end(), [&] { return alphabet[random() % alphabet.size()]; });
        Write("/tmp/random", content);
        const QuickFixStatus status = Record("/tmp/random").GetStatus();
        EXPECT_LE(status.version.size(), 254U);
        cJSON_Delete(JsonTool::ParseJsonFromFile("/tmp/random"));
    }
}

}  // namespace
