#pragma once

#include <clocale>

namespace TEKLO::QuickFixEngine {

/// Has the calling thread use the "C" locale while it lives, whatever the process has set: no translated message, no
/// decimal comma, no letter case or white space of another alphabet.
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

}  // namespace TEKLO::QuickFixEngine
