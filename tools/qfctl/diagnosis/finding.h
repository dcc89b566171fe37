#pragma once

#include <unistd.h>

#include <string>
#include <vector>

namespace qfctl {

enum class Severity { OK, WARNING, ERROR, UNKNOWN };

/// The result of one check. All texts are printable; names from outside are quoted if necessary.
struct Finding {
    std::string name;
    Severity severity;
    std::string text;
    std::string advice;  // empty if nothing needs to be done
};

using Findings = std::vector<Finding>;

/// Returns the effective user, such as "user 0".
inline std::string CurrentUser() {
    return "user " + std::to_string(geteuid());
}

}  // namespace qfctl
