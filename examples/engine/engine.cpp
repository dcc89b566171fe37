/// A small engine. After the installation of a patch it waits for the bundle scan, verifies files and apps, and stores
/// the status for the next start. Exits with 0 if the event arrived and all items passed.
#include <chrono>
#include <iostream>
#include <stdexcept>
#include <string>
#include <thread>

#include "error_code_wrapper.h"
#include "event_manager.h"
#include "quick_fix_log.h"
#include "quick_fix_plume_wrapper.h"
#include "quick_fix_status_record.h"
#include "quick_fix_version.h"
#include "test_manager.h"

namespace TEKLO::QuickFixEngine {

/// The engine defines the numbers; the library only stores them.
enum class ErrorCode : int32_t {
    NO_BUNDLE_SCAN = 101,
    FILE_DIFFERS = 102,
    APP_NOT_PATCHED = 103,
};

namespace {

struct App {
    const char* bundleName;
    unsigned int versionCode;
};

constexpr char VERSION[] = "1.0.2";
constexpr App PATCHED_APPS[] = {{"com.example.mail", 1000001}, {"com.example.music", 1000001}};

/// Simulates the bundle manager of a device, which broadcasts the end of its scan.
void ScanBundles() {
    AAFwk::Want want;
    want.SetAction(EventFwk::CommonEventSupport::COMMON_EVENT_BUNDLE_SCAN_FINISHED);
    if (!EventFwk::CommonEventManager::PublishCommonEvent(EventFwk::CommonEventData(want))) {
        QF_FILE_LOGE("the end of the bundle scan can't be broadcast");
    }
}

/// Waits up to 5 seconds. `CheckEventListenRes` also returns true after a timeout, so this function calls it only after
/// the event has arrived, to unsubscribe.
bool Arrives(EventManager& events, CommonEventId event) {
    for (int look = 0; look < 50; ++look) {
        if (events.GetEventListenerRes(event) == ListenerRes::SUCCESS) {
            return events.CheckEventListenRes(event, 1);
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
    return false;
}

/// Subscribes before it starts the scan, so that it doesn't miss the broadcast. If the broadcast doesn't arrive, the
/// destructor of the manager unsubscribes.
void WaitForBundleScan(ErrorCodeWrapper& codes) {
    EventManager events;
    events.SubscribeEvent(CommonEventId::BUNDLE_SCAN_FINISHED);
    ScanBundles();
    const bool finished = Arrives(events, CommonEventId::BUNDLE_SCAN_FINISHED);
    std::cout << (finished ? "pass" : "FAIL") << "  bundle scan\n";
    if (!finished) {
        codes.AddErrorCode(ErrorCode::NO_BUNDLE_SCAN);
    }
}

/// Returns a listener that prints each result and adds `code` after a failure. `ErrorCodeWrapper` stores each code only
/// once.
auto NoteItems(ErrorCodeWrapper& codes, ErrorCode code) {
    return [&codes, code](const ItemResult& result) {
        const bool passed = result.verdict == Verdict::PASSED;
        std::cout << (passed ? "pass" : "FAIL") << "  " << result.item << "\n";
        if (!passed) {
            codes.AddErrorCode(code);
        }
    };
}

std::string VerifyFiles(ErrorCodeWrapper& codes) {
    TestManager verifier;
    verifier.SetItemListener(NoteItems(codes, ErrorCode::FILE_DIFFERS));
    return verifier.CheckNativePatch();
}

std::string VerifyApps(ErrorCodeWrapper& codes) {
    TestManager verifier;
    verifier.SetItemListener(NoteItems(codes, ErrorCode::APP_NOT_PATCHED));
    verifier.CheckAppPatchInit();
    for (const App& app : PATCHED_APPS) {
        verifier.CheckAppPatch(app.bundleName, app.versionCode);
    }
    return verifier.CheckAppPatchEnd();
}

void PrintStatus(const char* when, const QuickFixStatus& status) {
    ErrorCodeWrapper codes;
    try {
        codes.ConvertErrCode(status.errorCode);
    } catch (const std::logic_error& error) {  // the file may hold text that isn't a number
        QF_FILE_LOGE("error codes %{public}s: %{public}s", status.errorCode.c_str(), error.what());
    }
    std::cout << when << ": version=" << status.version << " status=" << status.status
              << " codes=" << codes.GetErrorCode() << "\n";
}

int Run() {
    // Filters the platform log only; the file log gets every record.
    QuickFixPlumeWrapper::level_ = QuickFixPlumeLevel::ERROR;
    QF_FILE_LOGI("engine with quickfix_utils %{public}s", QUICKFIX_UTILS_VERSION);

    QuickFixStatusRecord& record = QuickFixStatusRecord::GetInstance();
    record.InitStatusRecord("/data/update/quickfix/engine.status", 0640, "EngineStatus");
    PrintStatus("before", record.GetStatus());
    record.SetStatus(VERSION, QUICK_FIX_STATUS_LOADED, "");

    ErrorCodeWrapper codes;
    WaitForBundleScan(codes);
    const std::string files = VerifyFiles(codes);
    const std::string apps = VerifyApps(codes);
    const bool holds = codes.GetErrorCode().empty();
    record.SetStatus(holds ? QUICK_FIX_STATUS_SUCCESS : QUICK_FIX_STATUS_FAILED, codes.GetErrorCode());

    PrintStatus("after", record.GetStatusFromFile());
    std::cout << "{" << files << "," << apps << "}\n";
    return holds ? 0 : 1;
}

}  // namespace

}  // namespace TEKLO::QuickFixEngine

int main() {
    return TEKLO::QuickFixEngine::Run();
}
