#include "platform/plume_log.h"

#include <cerrno>
#include <cstdarg>
#include <string>

#include "plume_format.h"
#include "plume_record.h"

int PlumePrint(int /*type*/, int level, unsigned int domain, const char* tag, const char* format, ...) {
    const int savedErrno = errno;
    std::va_list arguments;
    va_start(arguments, format);
    const std::string text = TEKLO::Platform::RenderPlumeText(format, arguments);
    va_end(arguments);
    TEKLO::Platform::WritePlumeRecord(level, domain, tag, text);
    errno = savedErrno;
    return static_cast<int>(text.size());
}
