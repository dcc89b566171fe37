#include "sys_utils.h"

#include "platform/memory_platform.h"
#include "support/test.h"

namespace {

constexpr char READ_ONLY[] = "ro.comp.kt.product_base_version.real";
constexpr char CONSTANT[] = "const.comp.kt.product_base_version.real";

TEST(SysUtils, BaseVersionComesFromTheFirstParameterThatIsSet) {
    const struct {
        const char* parameter;
        std::string value, version;
    } cases[] = {{"other", "1", ""},       {READ_ONLY, "1.0", "1.0"},
                 {CONSTANT, "2.0", "2.0"}, {CONSTANT, "", "1.0"},
                 {CONSTANT, "x", "x"},     {CONSTANT, std::string(300, 'x'), std::string(255, 'x')}};
    const std::string failure = "E GetBaseVersion: get base version error";
    PlumeCapture capture;
    for (const auto& [parameter, value, version] : cases) {
        TEKLO::MemoryPlatform::SetParameter(parameter, value);
        EXPECT_EQ(SysUtils::GetBaseVersion(), version);
        const std::string success = "I GetBaseVersion: get base version: " + version + " success";
        EXPECT_EQ(capture.TakeFromBothLogs(), Records{version.empty() ? failure : success});
    }
    TEKLO::MemoryPlatform::FailParameters(-2);
    EXPECT_EQ(SysUtils::GetBaseVersion(), "");
    EXPECT_EQ(capture.TakeFromBothLogs(), Records{failure});
}

}  // namespace
