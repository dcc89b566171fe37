#include "quick_fix_status_record.h"

#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <fstream>
#include <limits>
#include <utility>

#include "file_utils.h"
#include "quick_fix_log.h"
#include "sys_utils.h"

namespace TEKLO::QuickFixEngine {
namespace {

constexpr unsigned int DEFAULT_MODE = 0600;
constexpr mode_t INIT_STAGE_MODE = 0755;

/// Reads one line and skips what exceeds the limit. Returns false at the end of the file.
bool ReadLine(std::istream& file, std::string& line) {
    std::array<char, QUICK_FIX_STATUS_MAX_LINE + 1> text = {};
    file.getline(text.data(), text.size());
    const auto taken = static_cast<size_t>(file.gcount());
    if (taken == 0) {
        return false;
    }
    line.assign(text.data(), file.good() ? taken - 1 : taken);  // good() means that gcount() includes the line feed
    if (file.fail()) {
        file.clear();
        file.ignore(std::numeric_limits<std::streamsize>::max(), '\n');
    }
    return true;
}

}  // namespace

QuickFixStatusRecord& QuickFixStatusRecord::GetInstance() {
    static QuickFixStatusRecord record;
    return record;
}

void QuickFixStatusRecord::InitStatusRecord(std::string filePath, std::string statusKey) {
    InitStatusRecord(std::move(filePath), DEFAULT_MODE, std::move(statusKey));
}

void QuickFixStatusRecord::InitStatusRecord(std::string filePath, unsigned int mode, std::string statusKey) {
    mode_ = mode;
    filePath_ = std::move(filePath);
    statusKey_ = std::move(statusKey);
    status_ = GetStatusFromFile();
}

void QuickFixStatusRecord::SetStatus(QuickFixStatus& status) {
    std::fstream file;
    const bool opened = FileUtils::OpenFile(file, filePath_, std::ios::out | std::ios::trunc, mode_);
    if (SysUtils::GetRunningStage() == STAGE_INIT) {
        unsigned int uid = 0;
        unsigned int gid = 0;
        FileUtils::GetPathGidAndUid(QUICK_FIX_DIR, uid, gid);
        (void)!chmod(filePath_.c_str(), INIT_STAGE_MODE);
        (void)!chown(filePath_.c_str(), uid, gid);
    }
    if (!opened) {
        QF_FILE_LOGE("SetStatus failed. file path : %{public}s.", filePath_.c_str());
        return;
    }
    file << QUICK_FIX_VERSION_KEY << "=" << status.version << std::endl;
    file << statusKey_ << "=" << status.status << std::endl;
    file << QUICK_FIX_ERROR_CODE_KEY << "=" << status.errorCode << std::endl;
    file.close();
    QF_FILE_LOGD("SetStatus version_: %{public}s, status: %{public}s, ErrorCode: %{public}s.", status.version.c_str(),
                 status.status.c_str(), status.errorCode.c_str());
}

void QuickFixStatusRecord::SetStatus(std::string status) {
    status_ = GetStatusFromFile();
    status_.status = std::move(status);
    SetStatus(status_);
}

void QuickFixStatusRecord::SetStatus(std::string status, std::string errorCode) {
    status_ = {GetStatusFromFile().version, std::move(status), std::move(errorCode)};
    SetStatus(status_);
}

void QuickFixStatusRecord::SetStatus(std::string version, std::string status, std::string errorCode) {
    status_ = {std::move(version), std::move(status), std::move(errorCode)};
    SetStatus(status_);
}

QuickFixStatus QuickFixStatusRecord::GetStatusFromFile() {
    std::ifstream file(filePath_);
    if (!file.is_open()) {
        QF_FILE_LOGI("can not read %{public}s, may be unexist", filePath_.c_str());
        return {};
    }
    QuickFixStatus status;
    std::string line;
    for (std::string* field : {&status.version, &status.status, &status.errorCode}) {
        if (!ReadLine(file, line)) {
            break;
        }
        const size_t equals = line.find('=');
        if (equals == std::string::npos) {
            break;
        }
        *field = line.substr(equals + 1);
    }
    return status;
}

void QuickFixStatusRecord::SetStatusFilePath(std::string filePath) {
    filePath_ = std::move(filePath);
}

QuickFixStatus QuickFixStatusRecord::GetStatus() {
    return status_;
}

void QuickFixStatusRecord::ClearStatusRecord() {
    status_ = {};
    remove(filePath_.c_str());
}

}  // namespace TEKLO::QuickFixEngine
