#include <algorithm>
#include <array>
#include <cstring>
#include <future>
#include <string>

#include "platform/parameter.h"
#include "report.h"

namespace Conformance {

namespace {

constexpr char UNSET_KEY[] = "quickfix.conformance.not.set";
constexpr char FILLER = '\x7e';
constexpr size_t GUARD = 8;

/// Calls GetParameter with a buffer of `length` zero bytes, followed by guard bytes. Stores the result and the buffer.
struct ParameterResult {
    ParameterResult(const char* key, const std::string& defaultValue, unsigned int length) : length_(length) {
        std::fill(buffer_.begin() + length, buffer_.end(), FILLER);
        result = GetParameter(key, defaultValue.c_str(), buffer_.data(), length);
    }

    bool IsTerminated() const { return memchr(buffer_.data(), '\0', length_) != nullptr; }
    std::string Text() const { return buffer_.data(); }
    bool IsGuardIntact() const {
        return std::all_of(buffer_.begin() + length_, buffer_.end(), [](char byte) { return byte == FILLER; });
    }

    int result;

private:
    unsigned int length_;
    std::array<char, 256 + GUARD> buffer_ = {};
};

std::string Describe(const ParameterResult& actual) {
    return std::to_string(actual.result) + " and \"" + actual.Text() + "\"";
}

/// Checks the rules for every call, regardless of the content of the store.
bool ExpectValid(Report& report, const ParameterResult& actual, const std::string& call) {
    return report.Expect(actual.IsGuardIntact(), call + " wrote past the end of the buffer") &&
           report.Expect(actual.IsTerminated(), call + " left no zero byte in the buffer") &&
           report.Expect(actual.result < 0 || actual.result == static_cast<int>(actual.Text().size()),
                         call + " returned neither a negative code nor the length of the text: " + Describe(actual));
}

void ExpectDefault(Report& report, const std::string& defaultValue, unsigned int length, const std::string& expected) {
    const ParameterResult actual(UNSET_KEY, defaultValue, length);
    const std::string call =
        "a default value of " + std::to_string(defaultValue.size()) + " bytes in a buffer of " + std::to_string(length);
    if (ExpectValid(report, actual, call)) {
        report.Expect(actual.result == static_cast<int>(expected.size()) && actual.Text() == expected,
                      call + " gave " + Describe(actual));
    }
}

void CheckDefaultValue(Report& report) {
    ExpectDefault(report, "default", 256, "default");
    ExpectDefault(report, "", 256, "");
}

void CheckCut(Report& report) {
    ExpectDefault(report, "default", 8, "default");
    ExpectDefault(report, "default", 7, "defaul");
    ExpectDefault(report, "default", 1, "");
    ExpectDefault(report, std::string(300, 'x'), 256, std::string(255, 'x'));
}

// The keys that the library reads, and unusual keys. The store need not contain them.
void CheckSystemKeys(Report& report) {
    for (const char* key :
         {"const.comp.kt.product_base_version.real", "ro.comp.kt.product_base_version.real", "a", "a b=c", "\xff"}) {
        for (const unsigned int length : {256U, 2U, 1U}) {
            ExpectValid(report, ParameterResult(key, "d", length), std::string("\"") + key + "\"");
        }
    }
}

void CheckThreads(Report& report) {
    std::array<std::future<void>, 4> threads;
    for (auto& thread : threads) {
        thread = std::async(std::launch::async, [&report] {
            for (int i = 0; i < 200 && !report.HasFailed(); ++i) {
                ExpectDefault(report, "default", 256, "default");
            }
        });
    }
}

}  // namespace

std::vector<Check> ParameterChecks() {
    return {{"parameter.default_value", CheckDefaultValue},
            {"parameter.cut", CheckCut},
            {"parameter.system_keys", CheckSystemKeys},
            {"parameter.threads", CheckThreads}};
}

}  // namespace Conformance
