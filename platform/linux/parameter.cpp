#include "platform/parameter.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <optional>
#include <string>

namespace {

constexpr char PARAMETER_FILE[] = "/etc/quickfix/parameters.conf";
constexpr char BLANKS[] = " \t\r";

std::string Trim(const std::string& text) {
    const size_t start = text.find_first_not_of(BLANKS);
    return start == std::string::npos ? "" : text.substr(start, text.find_last_not_of(BLANKS) - start + 1);
}

/// Returns false if the file exists but can't be read. A missing file has no values.
bool FindValue(const std::string& key, std::optional<std::string>& value) {
    const char* configured = secure_getenv("QUICKFIX_PARAMETERS");
    std::ifstream file(configured != nullptr ? configured : PARAMETER_FILE);
    if (!file.is_open()) {
        return errno == ENOENT || errno == ENOTDIR;
    }
    for (std::string line; std::getline(file, line);) {
        const std::string text = Trim(line);
        const size_t equals = text.find('=');
        if (text.empty() || text[0] == '#' || equals == std::string::npos) {
            continue;
        }
        if (Trim(text.substr(0, equals)) == key) {
            value = Trim(text.substr(equals + 1));
        }
    }
    return !file.bad();
}

}  // namespace

int GetParameter(const char* key, const char* defaultValue, char* value, unsigned int length) {
    if (key == nullptr || *key == '\0' || value == nullptr || length == 0) {
        return -1;
    }
    value[0] = '\0';
    std::optional<std::string> set;
    if (!FindValue(key, set)) {
        return -1;
    }
    const std::string found = set.value_or(defaultValue != nullptr ? defaultValue : "");
    const size_t copied = std::min<size_t>(strlen(found.c_str()), length - 1);
    memcpy(value, found.c_str(), copied);
    value[copied] = '\0';
    return static_cast<int>(copied);
}
