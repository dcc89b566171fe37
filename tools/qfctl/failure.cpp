#include "failure.h"

#include <iostream>

#include "text/escape.h"

namespace qfctl {

Failure Failure::In(const std::string& context) const {
    std::vector<std::string> messages;
    for (const std::string& message : messages_) {
        messages.push_back(context + message);
    }
    return {code_, std::move(messages)};
}

ExitCode PrintFailure(const Failure& failure) {
    for (const std::string& message : failure.GetMessages()) {
        std::cerr << "qfctl: " << message << "\n";
    }
    return failure.GetCode();
}

ExitCode PrintException(const std::exception& error) {
    return PrintFailure({ExitCode::NOT_CHECKED, QuoteIfUnprintable(error.what())});
}

}  // namespace qfctl
