// The module's side: gives the rooms inside the functions of the program under their own names, and
// offers their record. Compiled for each module, with the name of its record and of the header that
// declares it.
#include MODULE_HEADER

#include <cstdarg>
#include <cstdio>

#include "dispatch/eventLoop.h"
#include "module/module.h"
#include "report/layerError.h"

namespace {

ProgramFunctions program;

void begin(const ProgramFunctions& functions) {
    program = functions;
}

}  // namespace

void layerError(const char* format, ...) {
    char text[1024];
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    program.layerError("%s", text);
}

bool eventLoopWatch(int fd, void (*ready)(void* data), void* data) {
    return program.eventLoopWatch(fd, ready, data);
}

void eventLoopForget(int fd) {
    program.eventLoopForget(fd);
}

extern "C" const Module velkarisModule;
const Module velkarisModule = {VELKARIS_VERSION, begin, &MODULE_RECORD};
