#include "exit_code.h"

#include <iostream>

ExitCode Fail(ExitCode code, const std::string& why) {
    std::cerr << "qfctl: " << why << "\n";
    return code;
}
