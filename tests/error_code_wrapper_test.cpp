#include "error_code_wrapper.h"

#include "support/test.h"

namespace {

TEST(ErrorCodes, AddSkipsDuplicatesAndConvertKeepsThem) {
    ErrorCodeWrapper codes;
    EXPECT_EQ(codes.GetErrorCode(), "");
    for (const int code : {3, 1000, 3, -2}) {
        codes.AddErrorCode(static_cast<ErrorCode>(code));
    }
    EXPECT_EQ(codes.GetErrorCode(), "3,1000,-2,");
    codes.ConvertErrCode(",,,");
    codes.ConvertErrCode(" 5x,5,,010,2147483647,");
    EXPECT_EQ(codes.GetErrorCode(), "3,1000,-2,5,5,10,2147483647,");
    codes.ClearErrorCode();
    EXPECT_THROW(codes.ConvertErrCode("7,x,8"), std::invalid_argument);
    EXPECT_THROW(codes.ConvertErrCode("2147483648"), std::out_of_range);
    EXPECT_EQ(codes.GetErrorCode(), "7,") << "keeps the codes before the invalid one";
}

}  // namespace
