// A room that goes into a module and calls the program, as windows do.
#include "sampleModule.h"

#include "dispatch/eventLoop.h"
#include "report/layerError.h"

namespace {

void count(void* data) {
    ++*static_cast<int*>(data);
}

bool watch(int fd, int* counter) {
    return eventLoopWatch(fd, count, counter);
}

void say(const char* text) {
    layerError("sample: %s", text);
}

}  // namespace

const Sample kSample = {watch, eventLoopForget, say};
