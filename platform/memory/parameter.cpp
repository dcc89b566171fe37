#include "platform/parameter.h"

#include <algorithm>
#include <cstring>
#include <map>
#include <mutex>

#include "platform/memory_platform.h"

namespace {

struct Store {
    std::mutex mutex;
    std::map<std::string, std::string> values;
    int failure = 0;
};

Store& GetStore() {
    static Store& store = *new Store;
    return store;
}

}  // namespace

int GetParameter(const char* key, const char* defaultValue, char* value, unsigned int length) {
    const std::lock_guard<std::mutex> lock(GetStore().mutex);
    if (length == 0) {
        return -1;
    }
    value[0] = '\0';
    if (GetStore().failure != 0) {
        return GetStore().failure;
    }
    const auto entry = GetStore().values.find(key);
    const std::string found = entry != GetStore().values.end() ? entry->second : defaultValue;
    const size_t copied = std::min<size_t>(found.size(), length - 1);
    memcpy(value, found.data(), copied);
    value[copied] = '\0';
    return static_cast<int>(copied);
}

void TEKLO::MemoryPlatform::SetParameter(const std::string& key, const std::string& value) {
    const std::lock_guard<std::mutex> lock(GetStore().mutex);
    GetStore().values[key] = value;
}

void TEKLO::MemoryPlatform::FailParameters(int code) {
    const std::lock_guard<std::mutex> lock(GetStore().mutex);
    GetStore().failure = code;
}
