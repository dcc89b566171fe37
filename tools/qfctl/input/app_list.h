#pragma once

#include <string>
#include <vector>

namespace qfctl {

struct App {
    std::string bundleName;
    unsigned int versionCode;
};

/// Reads a file `{"apps": [{"bundleName": "com.example.app", "versionCode": 1000001}, ...]}`. Throws Failure:
/// NOT_CHECKED if the file can't be read, USAGE with the number of the entry if an entry is invalid.
std::vector<App> ReadApps(const std::string& path);

}  // namespace qfctl
