#pragma once

#include <functional>
#include <mutex>
#include <string>
#include <vector>

namespace Conformance {

/// What one check found. Threads: any.
class Report {
public:
    /// Notes the rule as broken unless it holds; returns `holds`.
    bool Expect(bool holds, const std::string& rule);

    /// Says why the check can't be carried out; what it has found so far still counts.
    void SetNotChecked(const std::string& reason);

    bool HasFailed() const;
    bool IsNotChecked() const;

    /// A line for each rule that is broken, or the reason why nothing was checked.
    std::string Text() const;

private:
    mutable std::mutex mutex_;
    std::vector<std::string> broken_;
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
