#pragma once

#include <clocale>

namespace TEKLO::QuickFixEngine {

/// Sets the calling thread's locale to "C" for its lifetime: messages are not translated, the decimal point is ".",
/// and only ASCII characters have case or are white space.
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

}  // namespace TEKLO::QuickFixEngine
