#include "peer.h"

#include <chrono>
#include <thread>

#include "platform/singleton.h"

namespace Conformance {

std::atomic<int> Shared::created{0};
std::atomic<int> Shared::destroyed{0};

Shared::Shared() {
    // Long enough for other threads to ask for it meanwhile.
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    ++created;
}

Shared::~Shared() {
    ++destroyed;
}

std::shared_ptr<Shared> SharedOfPeer() {
    return TEKLO::DelayedSingleton<Shared>::GetInstance();
}

Services SeenFromPeer() {
    return SeenFromHere();
}

}  // namespace Conformance
