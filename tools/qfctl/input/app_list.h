#pragma once

#include <string>
#include <vector>

namespace qfctl {

struct App {
    std::string bundleName;
    unsigned int versionCode;
};

/// The apps of a file `{"apps": [{"bundleName": "com.example.app", "versionCode": 1000001}, ...]}`. Throws Failure:
/// NOT_CHECKED when it can't be read, USAGE with the entry's number for anything that must not reach a command.
std::vector<App> ReadApps(const std::string& path);

}  // namespace qfctl
