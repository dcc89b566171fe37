#include "peer.h"

#include <chrono>
#include <thread>

#include "platform/singleton.h"

namespace Conformance {

std::atomic<int> Shared::created{0};
std::atomic<int> Shared::destroyed{0};

Shared::Shared() {
    // Gives other threads time to call GetInstance during the construction.
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    ++created;
}

Shared::~Shared() {
    ++destroyed;
}

std::shared_ptr<Shared> GetSharedOfPeer() {
    return TEKLO::DelayedSingleton<Shared>::GetInstance();
}

Services GetServicesOfPeer() {
    return GetServices();
}

}  // namespace Conformance
