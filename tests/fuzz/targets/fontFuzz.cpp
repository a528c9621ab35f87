// Any font file at any size: the atlas is built without touching what is not its own, and what
// becomes a texture is there as a whole.
#include <GLES2/gl2.h>

#include "fuzzModel.h"
#include "memoryFile.h"
#include "text/fontAtlas.h"

namespace {

volatile unsigned texelSum;

}  // namespace

extern "C" void glTexImage2D(GLenum, GLint, GLint, GLsizei width, GLsizei height, GLint, GLenum,
                             GLenum, const void* texels) {
    const uint8_t* bytes = static_cast<const uint8_t*>(texels);
    unsigned sum = 0;
    for (size_t i = 0; bytes && i < static_cast<size_t>(width) * height; ++i)
        sum += bytes[i];
    texelSum = sum;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    InputReader input(data, size);
    const int32_t points = static_cast<int8_t>(input.byte());
    const MemoryFile file(input.rest());

    fontAtlas = {};
    initFont(file.path());
    buildFontAtlas(points);
    releaseFont();
    return 0;
}
