#pragma once

#include <cstdarg>
#include <string>

namespace TEKLO::Platform {

/// Renders a platform record's text: printf's language with privacy markers, every argument that isn't marked public
/// shown as "<private>". Text behind a conversion that isn't known is dropped: its arguments can't be told apart.
std::string RenderPlumeText(const char* format, std::va_list arguments);

/// The text on one line and harmless on a terminal: control characters are shown as "\n" or "\x1b".
std::string EscapeControls(const std::string& text);

}  // namespace TEKLO::Platform
