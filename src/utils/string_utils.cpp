#include "string_utils.h"

#include "file_utils.h"
#include "quick_fix_log.h"

namespace TEKLO::QuickFixEngine {
namespace {

constexpr char CMDLINE_PATH[] = "/proc/cmdline";
// Unused here: for builds that redirect the lookup to the patch partition and use this path instead of CMDLINE_PATH.
[[maybe_unused]] constexpr char CMDLINE_UT_PATH[] = "/patch_qv/cmdline_ut";
constexpr char WHITE_SPACE[] = " \t\n\v\f\r";

}  // namespace

std::vector<std::string> StringUtils::Split(std::string& text, char separator) {
    std::vector<std::string> pieces;
    size_t start = text.find_first_not_of(separator);
    while (start != std::string::npos) {
        const size_t end = text.find(separator, start);
        pieces.push_back(text.substr(start, end - start));
        start = text.find_first_not_of(separator, end);
    }
    return pieces;
}

std::string& StringUtils::LTrim(std::string& text) {
    return text.erase(0, text.find_first_not_of(WHITE_SPACE));
}

std::string& StringUtils::RTrim(std::string& text) {
    return text.erase(text.find_last_not_of(WHITE_SPACE) + 1);
}

std::string& StringUtils::Trim(std::string& text) {
    return RTrim(LTrim(text));
}

std::string StringUtils::GetKeyCmdlineStr(const std::string& key) {
    std::string cmdline = FileUtils::GetFileStream(CMDLINE_PATH);
    const std::vector<std::string> tokens = Split(cmdline, ' ');
    if (tokens.empty()) {
        return "";
    }
    for (const std::string& token : tokens) {
        if (token.find(key) != std::string::npos) {
            QF_FILE_LOGI("GetKpatchCmdline: %{public}s", token.c_str());
            return token;
        }
    }
    QF_FILE_LOGE("Get key no res from cmdline.");
    return "";
}

}  // namespace TEKLO::QuickFixEngine
