#include <algorithm>
#include <climits>
#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <iterator>
#include <random>
#include <string>
#include <vector>

#include "platform/bounds_checked.h"
#include "report.h"

namespace Conformance {

namespace {

/// A call on a buffer that holds "ab" followed by guard bytes.
struct Case {
    const char* call;
    std::function<int(char*)> run;
    int result;  // or ANY_ERROR, ANY_NEGATIVE
    std::string expected;
};

constexpr int ANY_ERROR = 1;
constexpr int ANY_NEGATIVE = -1;

std::string EscapeZeroBytes(const std::string& bytes) {
    std::string text;
    for (const char byte : bytes) {
        text += byte == '\0' ? "\\0" : std::string(1, byte);
    }
    return "\"" + text + "\"";
}

bool Matches(int result, int expected) {
    return expected == ANY_ERROR ? result != 0 : expected == ANY_NEGATIVE ? result < 0 : result == expected;
}

void Run(Report& report, const Case& testCase) {
    std::string buffer("ab\0######", 9);
    const int result = testCase.run(buffer.data());
    report.Expect(Matches(result, testCase.result), std::string(testCase.call) + " returned " + std::to_string(result));
    report.Expect(buffer.compare(0, testCase.expected.size(), testCase.expected) == 0,
                  std::string(testCase.call) + " left " + EscapeZeroBytes(buffer));
}

using namespace std::string_literals;

void CheckSprintf(Report& report) {
    const Case cases[] = {
        {"sprintf_s of 3 characters with a bound of 4", [](char* to) { return sprintf_s(to, 4, "%d", 123); }, 3,
         "123\0##"s},
        {"sprintf_s of 4 characters with a bound of 4", [](char* to) { return sprintf_s(to, 4, "%d", 1234); },
         ANY_NEGATIVE, "\0"s},
        {"sprintf_s of an empty string", [](char* to) { return sprintf_s(to, 4, "%s", ""); }, 0, "\0"s},
        {"sprintf_s with a bound of 1", [](char* to) { return sprintf_s(to, 1, "x"); }, ANY_NEGATIVE, "\0b"s},
        {"sprintf_s with a bound of 0", [](char* to) { return sprintf_s(to, 0, "x"); }, ANY_NEGATIVE, "ab\0###"s},
        {"sprintf_s of %02x", [](char* to) { return sprintf_s(to, 4, "%02x", 0xc); }, 2, "0c\0"s},
    };
    for (const Case& testCase : cases) {
        Run(report, testCase);
    }
    char guarded[] = "######";
    (void)sprintf_s(guarded, 4, "%s", "too long");
    report.Expect(strcmp(guarded + 4, "##") == 0, "sprintf_s wrote past its bound");
}

void CheckCopies(Report& report) {
    const Case cases[] = {
        {"strcpy_s of 3 characters with a bound of 4", [](char* to) { return strcpy_s(to, 4, "xyz"); }, 0, "xyz\0##"s},
        {"strcpy_s of 4 characters with a bound of 4", [](char* to) { return strcpy_s(to, 4, "xyzw"); }, ANY_ERROR,
         "\0"s},
        {"strcpy_s of an empty string", [](char* to) { return strcpy_s(to, 4, ""); }, 0, "\0"s},
        // cppcheck-suppress invalidFunctionArg
        {"strcpy_s with a bound of 0", [](char* to) { return strcpy_s(to, 0, "x"); }, ANY_ERROR, "ab\0###"s},
        {"strcat_s of 1 character to 2 with a bound of 4", [](char* to) { return strcat_s(to, 4, "x"); }, 0,
         "abx\0##"s},
        {"strcat_s of 2 characters to 2 with a bound of 4", [](char* to) { return strcat_s(to, 4, "xy"); }, ANY_ERROR,
         "\0"s},
        {"strcat_s of an empty string", [](char* to) { return strcat_s(to, 3, ""); }, 0, "ab\0###"s},
        {"strcat_s to a text that fills its bound", [](char* to) { return strcat_s(to, 2, ""); }, ANY_ERROR, "\0"s},
        {"strcat_s with a bound of 0", [](char* to) { return strcat_s(to, 0, "x"); }, ANY_ERROR, "ab\0###"s},
        {"memset_s of 1 byte with a bound of 2", [](char* to) { return memset_s(to, 2, 'x', 1); }, 0, "xb\0###"s},
        {"memset_s of 2 bytes with a bound of 2", [](char* to) { return memset_s(to, 2, 'x', 2); }, 0, "xx\0###"s},
        {"memset_s of 3 bytes with a bound of 2", [](char* to) { return memset_s(to, 2, 'x', 3); }, ANY_ERROR,
         "xx\0###"s},
    };
    for (const Case& testCase : cases) {
        Run(report, testCase);
    }
    char guarded[] = "a\0####";
    (void)strcat_s(guarded, 4, "too long");
    (void)strcpy_s(guarded, 4, "too long");
    report.Expect(strcmp(guarded + 4, "##") == 0, "strcpy_s or strcat_s wrote past its bound");
}

// The library formats digests this way: each pair of digits with the size of the whole buffer as the bound.
void CheckBoundBeyondBuffer(Report& report) {
    char text[5] = {};
    const bool both =
        sprintf_s(text, sizeof(text), "%02x", 0xab) == 2 && sprintf_s(text + 2, sizeof(text), "%02x", 0xc) == 2;
    report.Expect(both && strcmp(text, "ab0c") == 0,
                  "sprintf_s does not accept a bound larger than the rest of its buffer");
}

template <typename... Args>
void CompareWithSnprintf(Report& report, const char* format, Args... args) {
    char expected[512] = {};
    const int length = snprintf(expected, sizeof(expected), format, args...);
    const auto bound = static_cast<size_t>(length);
    for (const size_t size : {bound + 2, bound + 1, bound, bound / 2}) {
        std::string buffer(sizeof(expected), '#');
        const int result = sprintf_s(buffer.data(), size, format, args...);
        const bool fits = size > bound;
        const std::string text = fits ? expected : "";
        report.Expect(fits ? result == length : result < 0, std::string("sprintf_s of ") + format + " returned " +
                                                                std::to_string(result) + " with a bound of " +
                                                                std::to_string(size));
        report.Expect(size == 0 || buffer.compare(0, text.size() + 1, text.c_str(), text.size() + 1) == 0,
                      std::string("sprintf_s of ") + format + " left " + EscapeZeroBytes(buffer.substr(0, bound + 1)));
        report.Expect(buffer.find_first_not_of('#', size) == std::string::npos, "sprintf_s wrote past its bound");
    }
}

void CheckFormats(Report& report) {
    std::mt19937 random(12);
    std::vector<int> numbers = {0, 1, -1, 9, -10, 12345, -99999, INT_MAX, INT_MIN};
    std::generate_n(std::back_inserter(numbers), 200,
                    [&random] { return static_cast<int>(random()) >> random() % 32; });
    for (const char* format : {"%d",    "%5d",   "%05d",  "%-5d",    "%+d",    "% d",  "%i",     "%u",      "%12u",
                               "%x",    "%02x",  "%016x", "%X",      "%#x",    "%o",   "%c",     "%.3d",    "%99d",
                               "%099d", "%100d", "%0d",   "%00007d", "<%d%%>", "%hhd", "%5.3d|", "100%% %d"}) {
        for (const int number : numbers) {
            CompareWithSnprintf(report, format, number);
        }
    }
    const std::string longText(300, 't');
    for (const char* format : {"%s", "%5s", "%-5s", "%.3s", "[%s]", "%s%%s"}) {
        for (const char* text : {"", "a", "five!", "%d", "\xff\n", longText.c_str()}) {
            CompareWithSnprintf(report, format, text);
        }
    }
    for (const long number : {0L, LONG_MIN, LONG_MAX}) {
        CompareWithSnprintf(report, "%ld %d", number, 7);
        CompareWithSnprintf(report, "%3d%ld", -7, number);
    }
    CompareWithSnprintf(report, "%4d-%02d-%02d %s:%x%u", 2026, 3, 9, "text", 0xabcU, 7U);
    CompareWithSnprintf(report, "no conversion, 100%%", 0);
    CompareWithSnprintf(report, "%d %.2f %s", 1, 2.5, "text");
    CompareWithSnprintf(report, "", 0);
}

/// Sets a locale whose decimal point is not ".", preferably the locale of the environment. Returns its name, or null if
/// there is no such locale.
const char* SetCommaLocale() {
    for (const char* name : {"", "de_DE.UTF-8", "de_DE.utf8", "de_DE", "fr_FR.UTF-8", "fr_FR"}) {
        const char* set = setlocale(LC_ALL, name);
        if (set != nullptr && strcmp(localeconv()->decimal_point, ".") != 0) {
            return set;
        }
    }
    return nullptr;
}

void CheckLocale(Report& report) {
    if (SetCommaLocale() == nullptr) {
        return report.SetNotChecked("no locale with a decimal comma is installed, and LC_ALL names none");
    }
    char text[32] = {};
    (void)sprintf_s(text, sizeof(text), "%.1f", 1.5);
    report.Expect(strcmp(text, "1.5") == 0, std::string("sprintf_s follows the process's locale: 1.5 became ") + text);
    report.Expect(strcmp(localeconv()->decimal_point, ".") != 0, "sprintf_s changed the process's locale");
}

}  // namespace

std::vector<Check> BoundsChecks() {
    return {{"bounds.sprintf_s", CheckSprintf},
            {"bounds.strcpy_s_strcat_s_memset_s", CheckCopies},
            {"bounds.bound_beyond_the_buffer", CheckBoundBeyondBuffer},
            {"bounds.formats", CheckFormats},
            {"bounds.locale", CheckLocale}};
}

}  // namespace Conformance
