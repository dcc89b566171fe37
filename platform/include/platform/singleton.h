/// One object per process, created on first use.
///
/// Supplied by: the device's SDK, or this header.
///
/// The library relies on: all callers in a process get the same object, even programs built with hidden visibility.
/// The first call creates it under a lock. The object is never destroyed, so static destructors may use it.
#pragma once

#include <atomic>
#include <memory>
#include <mutex>
#include <new>

namespace TEKLO {

/// `T` must have default visibility too. Otherwise a library and its program each get an object of their own.
template <typename T>
class [[gnu::visibility("default")]] DelayedSingleton {
public:
    /// Returns the object. The first call creates it. If there is no memory for it, returns null, and the next call
    /// tries again. Any thread may call the function. The constructor of `T` must not call this function.
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
    // Never deleted: static destructors may still log.
    auto* shared = new std::shared_ptr<T>(std::move(created));
    instance_.store(shared, std::memory_order_release);
    return *shared;
}

}  // namespace TEKLO
