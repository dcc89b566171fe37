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

std::string Trimmed(const std::string& text) {
    const size_t start = text.find_first_not_of(BLANKS);
    return start == std::string::npos ? "" : text.substr(start, text.find_last_not_of(BLANKS) - start + 1);
}

/// False when the store is there but can't be read; a missing one is empty.
bool FindValue(const std::string& key, std::optional<std::string>& value) {
    const char* chosen = secure_getenv("QUICKFIX_PARAMETERS");
    std::ifstream file(chosen != nullptr ? chosen : PARAMETER_FILE);
    if (!file.is_open()) {
        return errno == ENOENT || errno == ENOTDIR;
    }
    for (std::string line; std::getline(file, line);) {
        const std::string text = Trimmed(line);
        const size_t equals = text.find('=');
        if (text.empty() || text[0] == '#' || equals == std::string::npos) {
            continue;
        }
        if (Trimmed(text.substr(0, equals)) == key) {
            value = Trimmed(text.substr(equals + 1));
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
