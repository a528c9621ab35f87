// The codecs without modules: the target's instrumentation must reach them.
#include <cstring>

#include "codec/imageCodec.h"
#include "module/moduleLoader.h"

const void* moduleRecord(const char* name) {
    return std::strcmp(name, "png") == 0 ? &kPngCodec : &kJpegCodec;
}
