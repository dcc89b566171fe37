#include <cstdint>
#include <cstdlib>
#include <iostream>

#include "fuzz_targets.h"
#include "quick_fix_plume_wrapper.h"

using TEKLO::QuickFixEngine::QuickFixPlumeLevel;
using TEKLO::QuickFixEngine::QuickFixPlumeWrapper;

namespace {

FuzzTarget g_target = nullptr;

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
    const char* name = getenv("QUICKFIX_FUZZ_TARGET");
    const auto target = FUZZ_TARGETS.find(name != nullptr ? name : "");
    if (target == FUZZ_TARGETS.end()) {
        std::cerr << "QUICKFIX_FUZZ_TARGET is not the name of a target\n";
        exit(2);
    }
    g_target = target->second;
    QuickFixPlumeWrapper::level_ = static_cast<QuickFixPlumeLevel>(INT32_MAX);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    g_target(std::string(data, data + size));
    return 0;
}
