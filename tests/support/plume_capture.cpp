#include "plume_capture.h"

#include <regex>
#include <sstream>
#include <utility>

#include "platform/memory_platform.h"
#include "support/files.h"

using TEKLO::QuickFixEngine::QuickFixPlumeLevel;
using TEKLO::QuickFixEngine::QuickFixPlumeWrapper;

PlumeCapture::PlumeCapture(QuickFixPlumeLevel threshold)
    : previous_(std::exchange(QuickFixPlumeWrapper::level_, threshold)) {
    TEKLO::MemoryPlatform::TakeLogRecords();
}

PlumeCapture::~PlumeCapture() {
    QuickFixPlumeWrapper::level_ = previous_;
}

std::vector<std::string> PlumeCapture::TakeRaw() {
    std::vector<std::string> lines;
    for (const auto& record : TEKLO::MemoryPlatform::TakeLogRecords()) {
        std::ostringstream line;
        line.imbue(std::locale::classic());
        line << record.type << "/" << record.level << "/" << std::hex << record.domain << "/" << record.tag << "/"
             << record.text;
        lines.push_back(line.str());
    }
    return lines;
}

std::vector<std::string> PlumeCapture::Take() {
    static const std::regex pattern(R"(^3/([346])/d002e03/QuickFixUitls/\[\w+\((~?\w+(?:\(\))?)\):\d+\] )");
    std::vector<std::string> records;
    for (const std::string& raw : TakeRaw()) {
        std::smatch parts;
        if (!std::regex_search(raw, parts, pattern)) {
            records.push_back("MALFORMED " + raw);
            continue;
        }
        const char level = parts[1] == "3" ? 'D' : parts[1] == "4" ? 'I' : 'E';
        records.push_back(std::string(1, level) + " " + parts[2].str() + ": " + parts.suffix().str());
    }
    return records;
}

std::vector<std::string> PlumeCapture::TakeFromBothLogs() {
    static const std::regex place(R"(TIME\[\w+\((~?\w+)\):\d+\])");
    std::vector<std::string> records = Take();
    std::string expected;
    for (const std::string& record : records) {
        expected += record.substr(2) + "\n";
    }
    const std::string log = std::regex_replace(ReadLog(FIRST_LOG), place, "$1: ");
    if (log.size() < expected.size() || log.substr(log.size() - expected.size()) != expected) {
        records.push_back("NOT IN THE FILE LOG: " + log);
    }
    return records;
}
