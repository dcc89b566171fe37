// Logs the numbers from the first argument to the second. Pauses after every 100 records so that a reader can keep up.

#include <chrono>
#include <cstdlib>
#include <thread>

#include "quick_fix_log.h"

int main(int argc, char** argv) {
    TEKLO::QuickFixEngine::QuickFixPlumeWrapper::level_ = TEKLO::QuickFixEngine::QuickFixPlumeLevel::ERROR;
    if (argc != 3) {
        return 2;
    }
    const auto last = static_cast<int>(std::strtol(argv[2], nullptr, 10));
    for (auto i = static_cast<int>(std::strtol(argv[1], nullptr, 10)); i <= last; ++i) {
        QF_FILE_LOGI("record %{public}d of some length, so that a file is full after some hundred of them", i);
        if (i % 100 == 0) {
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
    }
}
