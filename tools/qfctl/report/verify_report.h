#pragma once

#include <string>
#include <vector>

namespace qfctl {

/// One value that isn't in the live system what it is in the patch.
struct Difference {
    std::string check;  // "SHA256", "RWX", "SeLinux"; "Installed", "PatchFlag", "Version"
    std::string live;   // empty when there is none
    std::string patch;
};

inline bool operator==(const Difference& one, const Difference& other) {
    return one.check == other.check && one.live == other.live && one.patch == other.patch;
}

struct VerifiedItem {
    std::string name;  // live path or bundle name
    bool passed = false;
    std::vector<Difference> differences;
};

struct VerifyReport {
    std::vector<VerifiedItem> files;
    std::vector<VerifiedItem> apps;

    bool Passed() const;
};

size_t CountPassed(const std::vector<VerifiedItem>& items);

/// A report object, `{"Native": {...},"Qen": {...}}` with either run left out, taken apart in its order. Throws
/// std::runtime_error when it is none.
VerifyReport ReadReport(const std::string& report);

}  // namespace qfctl
