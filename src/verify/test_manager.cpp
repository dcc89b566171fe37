#include "test_manager.h"

#include <algorithm>
#include <cstdlib>
#include <utility>

#include "directory_listing.h"
#include "file_utils.h"
#include "inspected_file.h"
#include "quick_fix_log.h"
#include "shell_command.h"

namespace TEKLO::QuickFixEngine {
namespace {

constexpr size_t PROP_LENGTH = 10;
constexpr size_t SELINUX_LINE_LENGTH = 1023;
constexpr char PASSED[] = "true";
constexpr char FAILED[] = "false";
// The two headers have different blanks. Readers of reports rely on every byte.
constexpr char NATIVE_HEADER[] =
    "\"Native\": {\"description\":  \"Compare the results of patch_file and patched_file.Verify SHA256, RWX, "
    "Selinux.\",\"detail\": {";
constexpr char NATIVE_NULL[] = "\"Native\": \"null\"";
constexpr char QEN_HEADER[] =
    "\"Qen\": {\"description\": \"Compare the results of patch_file and patched_file. Verify QenIsExist, "
    "VersionCode, "
    "PatchFlag.\",\"detail\": {";
constexpr char QEN_NULL[] = "\"Qen\": \"null\"";

std::string PassedEntry(const std::string& item) {
    return "\"" + item + "\": \"" + PASSED + "\",";
}

void DropLastComma(std::string& text) {
    if (!text.empty() && text.back() == ',') {
        text.pop_back();
    }
}

}  // namespace

std::string TestManager::CheckNativePatch() {
    QF_FILE_LOGI("Check Native Patch Begin");
    StartRun(NATIVE_HEADER);
    inconclusiveCount_ = 0;
    TraverseFile(PATCH_OVERLAY_PATH);
    return EndRun("native", NATIVE_NULL);
}

void TestManager::CheckAppPatchInit() {
    QF_FILE_LOGI("Check Qen Patch Begin");
    StartRun(QEN_HEADER);
}

void TestManager::CheckAppPatch(const std::string& bundleName, const unsigned int& versionCode) {
    StartItem(bundleName);
    if (!AppIsExist(bundleName)) {
        MarkFailed(bundleName);
        detailStr_ += "miss,";
        AddDifference("Installed", "", "yes");
    }
    if (!PatchFlagIsExist(bundleName)) {
        MarkFailed(bundleName);
        detailStr_ += std::string(PATCH_FLAG) + " not exist,";
        AddDifference("PatchFlag", "", PATCH_FLAG);
    }
    unsigned int runtimeVersion = 0;
    if (!CheckAppVersion(bundleName, versionCode, runtimeVersion)) {
        MarkFailed(bundleName);
        const std::string live = std::to_string(runtimeVersion);
        const std::string patch = std::to_string(versionCode);
        detailStr_ += "RunTimes Version=" + live + ",PatchPakage Version=" + patch;
        AddDifference("Version", live, patch);
    }

    const bool passed = result_ == PASSED && detailStr_.empty();
    if (passed) {
        detailStr_ = PassedEntry(bundleName);
    } else {
        DropLastComma(detailStr_);
        detailStr_ += "\",";
    }
    FinishItem(passed);
}

bool TestManager::AppIsExist(const std::string& bundleName) {
    const auto output = ReadBlockOf("bm dump -a | grep -w -o '" + bundleName + "'");
    if (!output) {
        QF_FILE_LOGE("Failed to run the command");
        commandFailed_ = true;
        return false;
    }
    // The last byte is grep's line feed. The output of two matches is longer than the bundle's name.
    return !output->empty() && bundleName.compare(0, output->size() - 1, *output, 0, output->size() - 1) == 0;
}

bool TestManager::PatchFlagIsExist(const std::string& bundleName) {
    const auto output = ReadBlockOf("bm dump -n " + bundleName + " | grep -w -o '" + PATCH_FLAG + "'");
    if (!output) {
        QF_FILE_LOGE("Failed to run the command");
        commandFailed_ = true;
        return false;
    }
    if (output->empty()) {
        return false;
    }
    const std::string text = output->substr(0, output->find('\0'));
    if (text.find(PATCH_FLAG) == std::string::npos) {
        QF_FILE_LOGE("cmdString : %{public}s", text.c_str());
        return false;
    }
    return true;
}

bool TestManager::CheckAppVersion(const std::string& bundleName, const unsigned int& versionCode,
                                  unsigned int& runtimeVersion) {
    const auto output =
        ReadBlockOf("bm dump -n " + bundleName + " | grep 'versionCode' | tail -n1 | egrep -o '[0-9]+'");
    if (!output) {
        QF_FILE_LOGE("Failed to run the command");
        commandFailed_ = true;
        return false;
    }
    if (output->empty()) {
        return false;
    }
    runtimeVersion = static_cast<unsigned int>(strtol(output->c_str(), nullptr, 10));
    return runtimeVersion >= versionCode;
}

std::string TestManager::CheckAppPatchEnd() {
    return EndRun("qen", QEN_NULL);
}

void TestManager::TraverseFile(const std::string& path) {
    Directory directory = OpenDirectory(path);
    if (directory == nullptr) {
        QF_FILE_LOGE("open patch folder faild : %{public}s", path.c_str());
        return;
    }
    const DirectoryListing listing = ReadEntries(std::move(directory));
    for (const DirectoryEntry& entry : listing.entries) {
        if (entry.IsDot()) {
            continue;
        }
        const std::string child = path + "/" + entry.name;
        if (entry.type == DT_DIR) {
            TraverseFile(child);
        } else if (entry.type == DT_REG) {
            VerifyPatch(child);
        }
    }
    if (listing.error != 0) {
        QF_FILE_LOGE("read patch folder failed : %{public}s", path.c_str());
    }
}

void TestManager::VerifyPatch(const std::string& patchPath) {
    const std::string viewPath = GetViewFilePath(patchPath);
    StartItem(viewPath);
    sourceStr_ = "source:";
    patchStr_ = "patch_qv:";
    DoVerifyFile(patchPath, viewPath);

    const bool passed = result_ == PASSED && detailStr_.empty();
    if (passed) {
        detailStr_ = PassedEntry(viewPath);
    } else {
        SymbolConversion(sourceStr_, patchStr_);
        detailStr_ += sourceStr_ + patchStr_ + "\",";
    }
    FinishItem(passed);
}

std::string TestManager::GetViewFilePath(const std::string& patchPath) {
    constexpr size_t LENGTH = sizeof(PATCH_OVERLAY_PATH) - 1;
    return patchPath.size() > LENGTH ? patchPath.substr(LENGTH) : "";
}

void TestManager::DoVerifyFile(const std::string& patchPath, const std::string& viewPath) {
    // One descriptor can't be read twice.
    if (inspection_ == Inspection::DIRECT && patchPath != viewPath) {
        inspected_ = {std::make_shared<InspectedFile>(patchPath), std::make_shared<InspectedFile>(viewPath)};
    }
    VerifyPatchSHA256(patchPath, viewPath);
    VerifyPatchProp(patchPath, viewPath);
    VerifyPatchSeLinux(patchPath, viewPath);
    inspected_ = {};
}

void TestManager::VerifyPatchSHA256(const std::string& patchPath, const std::string& viewPath) {
    const auto digest = [this](const std::string& path) {
        return inspection_ == Inspection::SHELL ? FileUtils::GetFileSHA256(path)
                                                : ReadDirectly(path, &InspectedFile::Digest);
    };
    StartCheck();
    const std::string patch = digest(patchPath);
    const std::string source = digest(viewPath);
    // Two empty digests don't prove that the files are equal.
    readFailed_ = readFailed_ || (inspection_ == Inspection::DIRECT && source.empty() && patch.empty());
    if (source != patch || readFailed_) {
        detailStr_.clear();  // the first comparison starts a new entry
    }
    Compare(viewPath, "SHA256", source, patch, ',');
}

void TestManager::VerifyPatchProp(const std::string& patchPath, const std::string& viewPath) {
    StartCheck();
    const std::string patch = GetFileProp(patchPath);
    const std::string source = GetFileProp(viewPath);
    Compare(viewPath, "RWX", source, patch, ',');
}

void TestManager::VerifyPatchSeLinux(const std::string& patchPath, const std::string& viewPath) {
    StartCheck();
    const std::string patch = GetFileSeLinux(patchPath);
    const std::string source = GetFileSeLinux(viewPath);
    Compare(viewPath, "SeLinux", source, patch, '.');
}

void TestManager::Compare(const std::string& item, const char* check, const std::string& source,
                          const std::string& patch, char terminator) {
    if (source == patch && !readFailed_) {
        inconclusiveCount_ += source.empty() ? 1U : 0U;
        isInconclusive_ = isInconclusive_ || source.empty();
        return;
    }
    inconclusiveCount_ += commandFailed_ || readFailed_ ? 1U : 0U;
    MarkFailed(item);
    sourceStr_.append(check).append("=").append(source) += terminator;
    patchStr_.append(check).append("=").append(patch) += terminator;
    AddDifference(check, source, patch);
}

std::string TestManager::GetFileProp(const std::string& path) {
    const auto prop = inspection_ == Inspection::SHELL ? ReadLineOf("ls -l " + path, PROP_LENGTH)
                                                       : ReadDirectly(path, &InspectedFile::Mode);
    if (!prop) {
        QF_FILE_LOGE("Failed to run the command");
        commandFailed_ = true;
        return "";
    }
    QF_FILE_LOGD("filePath: %{public}s, Prop: %{public}s", path.c_str(), prop->c_str());
    return *prop;
}

std::string TestManager::GetFileSeLinux(const std::string& path) {
    const auto line = inspection_ == Inspection::SHELL ? ReadLineOf("ls -Z " + path, SELINUX_LINE_LENGTH)
                                                       : ReadDirectly(path, &InspectedFile::Label);
    if (!line) {
        QF_FILE_LOGE("Failed to run the command");
        commandFailed_ = true;
        return "";
    }
    std::string label = line->substr(0, line->find(' '));
    QF_FILE_LOGD("filePath: %{public}s, Selinux: %{public}s", path.c_str(), label.c_str());
    return label;
}

void TestManager::JsonTail(const std::string& testName) {
    // Counts are inserted as text: a stream would group their digits according to the global locale.
    ClearSstream();
    sstream_ << "},\"test_" << testName << "_result\": \"" << testResult_ << "\",\"total\": \""
             << std::to_string(successCount_ + failedCount_) << "\",\"success\": \"" << std::to_string(successCount_)
             << "\",\"failed\": \"" << std::to_string(failedCount_) << "\"}";
    DropLastComma(jsonStr_);
    jsonStr_ += sstream_.str();
}

void TestManager::ClearSstream() {
    sstream_.clear();
    sstream_.str("");
}

void TestManager::SymbolConversion(std::string& source, std::string& patch) {
    for (std::string* text : {&source, &patch}) {
        if (!text->empty() && text->back() == ',') {
            text->back() = '.';
        }
    }
}

std::string TestManager::ReadDirectly(const std::string& path, FileValue (InspectedFile::*read)() const) {
    const auto isOfPath = [&path](const auto& file) { return file != nullptr && file->Path() == path; };
    const auto found = std::find_if(inspected_.begin(), inspected_.end(), isOfPath);
    FileValue value = found != inspected_.end() ? ((**found).*read)() : (InspectedFile(path).*read)();
    readFailed_ = readFailed_ || !value.isKnown;
    return std::move(value.text);
}

void TestManager::SetInspection(Inspection inspection) {
    inspection_ = inspection;
}

void TestManager::SetItemListener(std::function<void(const ItemResult& result)> listener) {
    itemListener_ = std::move(listener);
}

uint64_t TestManager::GetInconclusiveCount() const {
    return inconclusiveCount_;
}

uint64_t TestManager::GetUnprovenCount() const {
    return GetInconclusiveCount();
}

void TestManager::StartRun(const char* header) {
    testResult_ = PASSED;
    result_ = PASSED;
    successCount_ = 0;
    failedCount_ = 0;
    jsonStr_ = header;
}

std::string TestManager::EndRun(const std::string& testName, const char* emptyFragment) {
    JsonTail(testName);
    if (successCount_ + failedCount_ == 0) {
        jsonStr_ = emptyFragment;
    }
    return jsonStr_;
}

void TestManager::StartItem(const std::string& item) {
    result_ = PASSED;
    detailStr_.clear();
    item_ = {item, Verdict::PASSED, {}};
    isInconclusive_ = false;
    inspected_ = {};
    StartCheck();
}

void TestManager::StartCheck() {
    commandFailed_ = false;
    readFailed_ = false;
}

void TestManager::MarkFailed(const std::string& item) {
    result_ = FAILED;
    testResult_ = FAILED;
    if (detailStr_.empty()) {
        detailStr_ = "\"" + item + "\": \"" + result_ + ",";
    }
}

void TestManager::AddDifference(const char* check, const std::string& live, const std::string& patch) {
    const bool isConclusive = !commandFailed_ && !readFailed_;
    if (readFailed_) {
        item_.verdict = Verdict::INCONCLUSIVE;
    } else if (isConclusive && item_.verdict == Verdict::PASSED) {
        item_.verdict = Verdict::FAILED;
    }
    StartCheck();
    isInconclusive_ = isInconclusive_ || !isConclusive;
    item_.differences.push_back({check, live, patch, !isConclusive});
}

void TestManager::FinishItem(bool passed) {
    ++(passed ? successCount_ : failedCount_);
    jsonStr_ += detailStr_;
    if (isInconclusive_ && item_.verdict == Verdict::PASSED) {
        item_.verdict = Verdict::INCONCLUSIVE;
    }
    if (itemListener_) {
        itemListener_(item_);
    }
}

}  // namespace TEKLO::QuickFixEngine
