#include "diagnosis/checks.h"
#include "failure.h"
#include "input/status_file.h"
#include "text/escape.h"

namespace qfctl {
namespace {

std::string ShownValue(const std::string& value) {
    return value.empty() ? "(none)" : QuoteIfUnprintable(value);
}

}  // namespace

Finding CheckStatusFile(const std::string& path) {
    const std::string name = "status-file";
    const std::string file = Quote(path);
    try {
        const auto found = InspectStatusFile(path);
        if (!found) {
            return {name, Severity::WARNING, file + " does not exist",
                    "check the path, unless no patch operation has begun"};
        }
        if (!found->formatMismatch.empty()) {
            throw Failure(ExitCode::NOT_CHECKED, found->formatMismatch);
        }
        const auto& values = found->values;
        (void)ParseErrorCodes(values.errorCode);
        return {name, Severity::OK,
                file + " says version " + ShownValue(values.version) + ", status " + ShownValue(values.status) +
                    ", error codes " + ShownValue(values.errorCode),
                ""};
    } catch (const Failure& failure) {
        return {name, Severity::ERROR, file + " is not a readable status file: " + failure.what(),
                "name the file that the engine writes, or let it write a new one"};
    }
}

}  // namespace qfctl
