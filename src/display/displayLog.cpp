#include "display/displayLog.h"

#include <cstdarg>
#include <cstdio>

namespace {

void printLine(FILE* stream, const char* format, va_list arguments) {
    fputs("[Velkaris] ", stream);
    vfprintf(stream, format, arguments);
}

}  // namespace

void displayLog(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    printLine(stdout, format, arguments);
    va_end(arguments);
}

void displayError(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    printLine(stderr, format, arguments);
    va_end(arguments);
}
