#include "error_code_wrapper.h"

#include <algorithm>

#include "scoped_c_locale.h"
#include "string_utils.h"

namespace TEKLO::QuickFixEngine {

void ErrorCodeWrapper::AddErrorCode(ErrorCode code) {
    if (std::find(errorCodes_.begin(), errorCodes_.end(), code) == errorCodes_.end()) {
        errorCodes_.push_back(code);
    }
}

void ErrorCodeWrapper::ConvertErrCode(std::string text) {
    const ScopedCLocale cLocale;
    for (const std::string& piece : StringUtils::Split(text, ',')) {
        errorCodes_.push_back(static_cast<ErrorCode>(std::stoi(piece, nullptr, 10)));
    }
}

std::string ErrorCodeWrapper::GetErrorCode() {
    std::string text;
    for (const ErrorCode code : errorCodes_) {
        text += std::to_string(static_cast<int32_t>(code)) + ",";
    }
    return text;
}

void ErrorCodeWrapper::ClearErrorCode() {
    errorCodes_.clear();
}

}  // namespace TEKLO::QuickFixEngine
