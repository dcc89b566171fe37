/// A lazily created object that the whole process shares.
///
/// Supplied by: the device's SDK, or this header.
///
/// The library relies on: all callers in one process get the same object, whatever visibility they were built with; the
/// first call creates it under a lock, later calls take none; the object is never destroyed, so it may be used while
/// static destructors run.
#pragma once

#include <atomic>
#include <memory>
#include <mutex>
#include <new>

namespace TEKLO {

/// Default visibility keeps one object for a library and an executable built with hidden visibility; `T` needs it too.
template <typename T>
class [[gnu::visibility("default")]] DelayedSingleton {
public:
    /// The shared object, created by the first call; null only when there was no memory for it (the next call tries
    /// again). Any thread may call.
    static std::shared_ptr<T> GetInstance();

private:
    static inline std::atomic<std::shared_ptr<T>*> instance_{nullptr};
    static inline std::mutex creation_;
};

template <typename T>
std::shared_ptr<T> DelayedSingleton<T>::GetInstance() {
    if (auto* published = instance_.load(std::memory_order_acquire)) {
        return *published;
    }
    const std::lock_guard<std::mutex> lock(creation_);
    if (auto* published = instance_.load(std::memory_order_relaxed)) {
        return *published;
    }
    std::unique_ptr<T> created(new (std::nothrow) T());
    if (created == nullptr) {
        return nullptr;
    }
    // Never deleted: records written by static destructors still find the object.
    auto* shared = new std::shared_ptr<T>(std::move(created));
    instance_.store(shared, std::memory_order_release);
    return *shared;
}

}  // namespace TEKLO
