#pragma once

#include <clocale>

/// The port and the library see nothing of each other, hence one of these in each.
///
/// Has the calling thread format in the "C" locale while it lives, whatever the process has set.
class ScopedCLocale {
public:
    ScopedCLocale() : former_(uselocale(Classic())) {}
    ~ScopedCLocale() { uselocale(former_); }
    ScopedCLocale(const ScopedCLocale&) = delete;
    ScopedCLocale& operator=(const ScopedCLocale&) = delete;

private:
    static locale_t Classic() {
        static const locale_t classic = newlocale(LC_ALL_MASK, "C", nullptr);
        return classic;
    }
    locale_t former_;
};
