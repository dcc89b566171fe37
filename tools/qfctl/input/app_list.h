#pragma once

#include <string>
#include <vector>

namespace qfctl {

struct App {
    std::string bundleName;
    unsigned int versionCode;
};

/// Reads a file `{"apps": [{"bundleName": "com.example.app", "versionCode": 1000001}, ...]}`. Throws Failure:
/// NOT_CHECKED if the file can't be read, USAGE if the list is invalid. For an invalid entry, the message
/// gives the number of the entry.
std::vector<App> ReadApps(const std::string& path);

}  // namespace qfctl
