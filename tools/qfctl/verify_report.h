#pragma once

#include <string>
#include <vector>

/// One value that isn't the same in the live file and in the patch.
struct Difference {
    std::string check;  // "SHA256", "RWX" or "SeLinux"
    std::string live;
    std::string patch;
};

struct VerifiedItem {
    std::string name;
    bool passed = false;
    std::vector<Difference> differences;
};

/// The items of a report object, `{"Native": {...}}`, in its order. Throws std::runtime_error when it is
/// none.
std::vector<VerifiedItem> ReadReport(const std::string& report);
