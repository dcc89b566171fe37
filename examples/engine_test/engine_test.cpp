/// Tests parts of an engine without a device. The platform in memory replaces the library's, a private root holds the
/// directories, and quickfix-fake-bm replaces the bundle tool. Exits with 0 if all tests pass.
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>

#include "platform/memory_platform.h"
#include "quick_fix_log.h"
#include "sys_utils.h"
#include "test_manager.h"

namespace TEKLO::QuickFixEngine {

// The code under test. In a real engine, this code is a library.

bool FitsProduct(const std::string& patchBase) {
    const std::string base = SysUtils::GetBaseVersion();
    if (base != patchBase) {
        QF_FILE_LOGE("the patch is for %{public}s", patchBase.c_str());
        return false;
    }
    return true;
}

bool IsEverythingPatched(const std::string& app, unsigned int versionCode) {
    TestManager verifier;
    bool passed = true;
    verifier.SetItemListener([&passed](const ItemResult& result) { passed &= result.verdict == Verdict::PASSED; });
    verifier.CheckNativePatch();
    verifier.CheckAppPatchInit();
    verifier.CheckAppPatch(app, versionCode);
    verifier.CheckAppPatchEnd();
    return passed;
}

namespace {

void Write(const std::filesystem::path& path, const std::string& text) {
    std::filesystem::create_directories(path.parent_path());
    std::ofstream(path) << text;
}

void Expect(bool holds, const char* what) {
    if (!holds) {
        std::cerr << "failed: " << what << "\n";
        std::exit(1);
    }
}

void TestProduct() {
    MemoryPlatform::SetParameter("const.comp.kt.product_base_version.real", "5.1.0.12");
    Expect(FitsProduct("5.1.0.12"), "a patch for this product fits");
    MemoryPlatform::TakeLogRecords();
    Expect(!FitsProduct("5.0"), "a patch for another product doesn't fit");
    const std::string record = MemoryPlatform::TakeLogRecords().back().text;
    Expect(record.find("the patch is for 5.0") != std::string::npos, "the error is recorded");
    MemoryPlatform::FailParameters(-1);
    Expect(!FitsProduct("5.1.0.12"), "without the parameter store no patch fits");
}

void TestVerification() {
    // The library finds `bm` through PATH.
    std::filesystem::create_directories("/tmp/bin");
    std::filesystem::create_symlink(std::getenv("FAKE_BM"), "/tmp/bin/bm");
    setenv("PATH", (std::string("/tmp/bin:") + std::getenv("PATH")).c_str(), 1);
    setenv("BM_BUNDLES", "/tmp/bundles", 1);
    Write("/tmp/bundles/com.example.mail", "{\n\"versionCode\": 7,\n\"appQuickFix\": \"teklo.app.quickfix\"\n}\n");
    Write("/patch_qv/overlay/system/bin/tool", "new");
    Write("/system/bin/tool", "new");
    Expect(IsEverythingPatched("com.example.mail", 7), "file and app are in place");
    Expect(!IsEverythingPatched("com.example.mail", 8), "the app is too old");
    Write("/system/bin/tool", "old");
    Expect(!IsEverythingPatched("com.example.mail", 7), "the file is the old one");
}

}  // namespace
}  // namespace TEKLO::QuickFixEngine

int main() {
    TEKLO::QuickFixEngine::TestProduct();
    TEKLO::QuickFixEngine::TestVerification();
    std::cout << "all tests passed\n";
}
