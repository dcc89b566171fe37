#include "system/exit_code.h"

#include <iostream>

namespace qfctl {

ExitCode Fail(ExitCode code, const std::string& why) {
    std::cerr << "qfctl: " << why << "\n";
    return code;
}

}  // namespace qfctl
