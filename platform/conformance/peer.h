#pragma once

#include <atomic>
#include <memory>

#include "services.h"

/// A shared library that is loaded into the program.
namespace Conformance {

/// The object that the program and the library must share.
struct [[gnu::visibility("default")]] Shared {
    Shared();
    ~Shared();

    int value = 1;
    static std::atomic<int> created;
    static std::atomic<int> destroyed;
};

/// Returns the object that the library gets from GetInstance.
[[gnu::visibility("default")]] std::shared_ptr<Shared> GetSharedOfPeer();

/// Returns the addresses that the library sees.
[[gnu::visibility("default")]] Services GetServicesOfPeer();

}  // namespace Conformance
