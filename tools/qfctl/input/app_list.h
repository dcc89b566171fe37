#pragma once

#include <string>
#include <vector>

namespace qfctl {

struct App {
    std::string bundleName;
    unsigned int versionCode;
};

/// The apps of a file `{"apps": [{"bundleName": "com.example.app", "versionCode": 1000001}, ...]}`. Throws
/// std::invalid_argument, which names the entry, for anything that must not reach a command.
std::vector<App> ReadApps(const std::string& path);

}  // namespace qfctl
