#pragma once

#include <clocale>

/// Sets the calling thread's locale to "C" for its lifetime. The library has its own copy, because it
/// includes only the public headers of a port.
class ScopedCLocale {
public:
    ScopedCLocale() : previous_(uselocale(CLocale())) {}
    ~ScopedCLocale() { uselocale(previous_); }
    ScopedCLocale(const ScopedCLocale&) = delete;
    ScopedCLocale& operator=(const ScopedCLocale&) = delete;

private:
    static locale_t CLocale() {
        static const locale_t cLocale = newlocale(LC_ALL_MASK, "C", nullptr);
        return cLocale;
    }
    locale_t previous_;
};
