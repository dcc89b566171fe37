#pragma once

#include <cstdarg>
#include <string>

namespace TEKLO::Platform {

/// Formats a record of the platform log: a printf format with privacy markers. Every argument that is not marked
/// public becomes "<private>". Drops the text after an unknown conversion, since the types of the other arguments are
/// unknown.
std::string RenderPlumeText(const char* format, std::va_list arguments);

/// Escapes control characters except tabs, as in "\n" and "\x1b": the result is one line and safe to print on a
/// terminal.
std::string EscapeControls(const std::string& text);

}  // namespace TEKLO::Platform
