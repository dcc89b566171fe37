#pragma once

#include <unistd.h>

#include <string>
#include <vector>

namespace qfctl {

enum class Severity { OK, WARNING, ERROR, UNKNOWN };

/// The result of one check. Texts are printable, with names of others quoted where needed.
struct Finding {
    std::string name;
    Severity severity;
    std::string text;
    std::string advice;  // empty when all is well
};

using Findings = std::vector<Finding>;

/// Whose permissions count, such as "user 0".
inline std::string CurrentUser() {
    return "user " + std::to_string(geteuid());
}

}  // namespace qfctl
