#include "plume_capture.h"

#include <cstdarg>
#include <mutex>
#include <regex>
#include <sstream>
#include <utility>

#include "platform/plume_log.h"
#include "plume_format.h"

using TEKLO::QuickFixEngine::QuickFixPlumeLevel;
using TEKLO::QuickFixEngine::QuickFixPlumeWrapper;

namespace {

std::mutex g_mutex;
bool g_capturing = false;
std::vector<std::string> g_records;

}  // namespace

// Takes the place of the port's function for the whole test program, the library's calls included.
int PlumePrint(int type, int level, unsigned int domain, const char* tag, const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    const std::string text = RenderPlumeText(format, arguments);
    va_end(arguments);
    std::ostringstream record;
    record.imbue(std::locale::classic());
    record << type << "/" << level << "/" << std::hex << domain << "/" << tag << "/" << text;
    const std::lock_guard<std::mutex> lock(g_mutex);
    if (g_capturing) {
        g_records.push_back(record.str());
    }
    return static_cast<int>(text.size());
}

PlumeCapture::PlumeCapture(QuickFixPlumeLevel threshold)
    : former_(std::exchange(QuickFixPlumeWrapper::level_, threshold)) {
    const std::lock_guard<std::mutex> lock(g_mutex);
    g_records.clear();
    g_capturing = true;
}

PlumeCapture::~PlumeCapture() {
    QuickFixPlumeWrapper::level_ = former_;
    const std::lock_guard<std::mutex> lock(g_mutex);
    g_capturing = false;
}

std::vector<std::string> PlumeCapture::TakeRaw() {
    const std::lock_guard<std::mutex> lock(g_mutex);
    return std::exchange(g_records, {});
}

std::vector<std::string> PlumeCapture::Take() {
    static const std::regex shape(R"(^3/([346])/d002e03/QuickFixUitls/\[\w+\((~?\w+)\):\d+\] ([^]*)$)");
    std::vector<std::string> records;
    for (const std::string& raw : TakeRaw()) {
        std::smatch parts;
        if (!std::regex_match(raw, parts, shape)) {
            records.push_back("MALFORMED " + raw);
            continue;
        }
        const char letter = parts[1] == "3" ? 'D' : parts[1] == "4" ? 'I' : 'E';
        records.push_back(std::string(1, letter) + " " + parts[2].str() + ": " + parts[3].str());
    }
    return records;
}
