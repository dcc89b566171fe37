#pragma once

// Headers that nearly every test uses.

#include <gmock/gmock.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <csignal>
#include <cstdlib>
#include <ctime>
#include <future>
#include <locale>
#include <map>
#include <numeric>
#include <optional>
#include <random>
#include <regex>
#include <set>
#include <thread>

#include "file_utils.h"
#include "platform/singleton.h"
#include "quick_fix_log.h"
#include "support/files.h"
#include "support/limits.h"
#include "support/plume_capture.h"

namespace fs = std::filesystem;
using namespace TEKLO::QuickFixEngine;

inline QuickFixLogger& Logger() {
    return *TEKLO::DelayedSingleton<QuickFixLogger>::GetInstance();
}
