// Checks the services in static initialisers and in static destructors.

#include <unistd.h>

#include <string>

#include "platform/bounds_checked.h"
#include "platform/common_event.h"
#include "platform/plume_log.h"
#include "platform/singleton.h"
#include "report.h"

namespace Conformance {

namespace {

using TEKLO::EventFwk::CommonEventSupport;

constexpr int FAILED_AT_EXIT = 4;
constexpr int INTACT = 0x600D;

struct SharedValue {
    ~SharedValue() { value = 0; }
    volatile int value = INTACT;
};

bool WriteRecord(int number) {
    char text[16] = {};
    const bool isFormatted = sprintf_s(text, sizeof(text), "%d", number) == 1 && text[0] == '0' + number;
    PlumePrint(3, 4, 0xD002E03, "Conformance", "%{public}s", text);
    return isFormatted;
}

/// Created before nearly all other static objects, so destroyed after them.
struct Lifetime {
    Lifetime() : worksEarly(WriteRecord(1)) {}
    ~Lifetime() {
        if (isCheckedAtExit &&
            (!WriteRecord(2) || TEKLO::DelayedSingleton<SharedValue>::GetInstance()->value != INTACT)) {
            _exit(FAILED_AT_EXIT);
        }
    }
    const bool worksEarly;
    bool isCheckedAtExit = false;
};

[[gnu::init_priority(102)]] Lifetime g_lifetime;

const std::string COPIED_SCAN_FINISHED = CommonEventSupport::COMMON_EVENT_BUNDLE_SCAN_FINISHED;
const std::string COPIED_USER_ADDED = CommonEventSupport::COMMON_EVENT_USER_ADDED;

void CheckStaticInitialisers(Report& report) {
    report.Expect(g_lifetime.worksEarly, "sprintf_s failed in a static initialiser");
    report.Expect(!COPIED_SCAN_FINISHED.empty() && !COPIED_USER_ADDED.empty(),
                  "the constants of CommonEventSupport were empty in a static initialiser");
    report.Expect(COPIED_SCAN_FINISHED == CommonEventSupport::COMMON_EVENT_BUNDLE_SCAN_FINISHED &&
                      COPIED_USER_ADDED == CommonEventSupport::COMMON_EVENT_USER_ADDED,
                  "the constants of CommonEventSupport changed after a static initialiser copied them");
    report.Expect(COPIED_SCAN_FINISHED != COPIED_USER_ADDED, "the constants of CommonEventSupport are equal");
}

/// The destructor of Lifetime makes the remaining checks at exit. On failure the exit code is 4.
void CheckStaticDestructors(Report& report) {
    report.Expect(TEKLO::DelayedSingleton<SharedValue>::GetInstance()->value == INTACT,
                  "the object was not constructed");
    g_lifetime.isCheckedAtExit = true;
}

}  // namespace

std::vector<Check> LifetimeChecks() {
    return {{"lifetime.static_initialisers", CheckStaticInitialisers},
            {"lifetime.static_destructors", CheckStaticDestructors}};
}

}  // namespace Conformance
