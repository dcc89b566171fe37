#pragma once

#include <atomic>
#include <memory>

#include "services.h"

/// A library of the same process, as the program's only neighbour.
namespace Conformance {

/// An object that program and library share.
struct [[gnu::visibility("default")]] Shared {
    Shared();
    ~Shared();

    int value = 1;
    static std::atomic<int> created;
    static std::atomic<int> destroyed;
};

/// The object as the library gets it.
[[gnu::visibility("default")]] std::shared_ptr<Shared> SharedOfPeer();

[[gnu::visibility("default")]] Services SeenFromPeer();

}  // namespace Conformance
