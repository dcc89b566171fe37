#pragma once

#include <clocale>

/// The port and the library see nothing of each other, hence one of these in each.
///
/// Has the calling thread format in the "C" locale while it lives, whatever the process has set.
class ClassicLocale {
public:
    ClassicLocale() : former_(uselocale(Classic())) {}
    ~ClassicLocale() { uselocale(former_); }
    ClassicLocale(const ClassicLocale&) = delete;
    ClassicLocale& operator=(const ClassicLocale&) = delete;

private:
    static locale_t Classic() {
        static const locale_t classic = newlocale(LC_ALL_MASK, "C", nullptr);
        return classic;
    }
    locale_t former_;
};
