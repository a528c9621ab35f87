#include "report/layerError.h"

#include <cstdarg>
#include <cstdio>

void layerError(const char* format, ...) {
    char text[1024];
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    std::fprintf(stderr, "velkaris: %s\n", text);
}
