// Any font file at any size: the atlas is built without touching what is not its own, and what
// becomes a texture is there as a whole.
#include <GLES2/gl2.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdio>

#include "fuzzModel.h"
#include "text/fontAtlas.h"

namespace {

volatile unsigned texelSum;

// A file in memory that FreeType can open by its path.
class FontFile {
public:
    explicit FontFile(const std::string& content) : fd_(memfd_create("font", MFD_CLOEXEC)) {
        require(write(fd_, content.data(), content.size()) == static_cast<ssize_t>(content.size()),
                "the file can be written");
        snprintf(path_, sizeof(path_), "/proc/self/fd/%d", fd_);
    }
    ~FontFile() { close(fd_); }
    FontFile(const FontFile&) = delete;
    FontFile& operator=(const FontFile&) = delete;
    const char* path() const { return path_; }

private:
    int fd_;
    char path_[64];
};

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
    const FontFile file(input.rest());

    fontAtlas = {};
    initFont(file.path());
    buildFontAtlas(points);
    releaseFont();
    return 0;
}
