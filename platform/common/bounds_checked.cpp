#include "platform/bounds_checked.h"

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "scoped_c_locale.h"
#include "simple_format.h"

int sprintf_s(char* dest, size_t destSize, const char* format, ...) {
    if (destSize == 0) {
        return -1;
    }
    std::va_list arguments;
    va_start(arguments, format);
    int length = FormatSimple(dest, destSize, format, arguments);
    va_end(arguments);
    if (length == NOT_SIMPLE) {
        const ScopedCLocale cLocale;
        va_start(arguments, format);
        length = vsnprintf(dest, destSize, format, arguments);
        va_end(arguments);
    }
    if (length < 0 || static_cast<size_t>(length) >= destSize) {
        dest[0] = '\0';
        return -1;
    }
    return length;
}

int strcpy_s(char* dest, size_t destSize, const char* src) {
    if (destSize == 0) {
        return ERANGE;
    }
    dest[0] = '\0';
    return strcat_s(dest, destSize, src);
}

int strcat_s(char* dest, size_t destSize, const char* src) {
    const size_t used = strnlen(dest, destSize);
    const size_t added = strlen(src);
    if (used + added >= destSize) {
        if (destSize > 0) {
            dest[0] = '\0';
        }
        return ERANGE;
    }
    memcpy(dest + used, src, added + 1);
    return 0;
}

int memset_s(void* dest, size_t destSize, int value, size_t count) {
    const bool fits = count <= destSize;
    memset(dest, value, fits ? count : destSize);
    return fits ? 0 : EOVERFLOW;
}
