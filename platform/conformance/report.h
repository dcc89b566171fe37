#pragma once

#include <functional>
#include <mutex>
#include <string>
#include <vector>

namespace Conformance {

/// The findings of one check. Any thread may call any function.
class Report {
public:
    /// Records `violation` unless `holds`. Returns `holds`.
    bool Expect(bool holds, const std::string& violation);

    /// Records why the check can't run. Violations that are already recorded still count.
    void SetNotChecked(const std::string& reason);

    bool HasFailed() const;
    bool IsNotChecked() const;

    /// Returns one line per violation, or the reason why the check could not run.
    std::string Text() const;

private:
    mutable std::mutex mutex_;
    std::vector<std::string> violations_;
    std::string reason_;
};

struct Check {
    std::string name;
    std::function<void(Report&)> run;
};

std::vector<Check> BoundsChecks();
std::vector<Check> EventChecks();
std::vector<Check> LifetimeChecks();
std::vector<Check> LogChecks();
std::vector<Check> ParameterChecks();
std::vector<Check> SymbolChecks();

}  // namespace Conformance
