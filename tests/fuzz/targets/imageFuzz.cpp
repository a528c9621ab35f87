// Any image file: an error number, or an image whose every byte is there.
#include <img/img.h>

#include <cstdint>
#include <cstdlib>
#include <memory>

#include "memoryFile.h"
#include "ownership/release.h"

namespace {

using Pixels = std::unique_ptr<uint8_t, Release<free>>;
using Library = std::unique_ptr<img_lib, Release<img_lib_detach>>;

volatile unsigned byteSum;

void require(bool holds) {
    if (!holds)
        abort();
}

void readAll(const img_t& image) {
    unsigned sum = 0;
    const size_t size = size_t{image.h} * image.access.direct.stride;
    for (size_t i = 0; i < size; ++i)
        sum += image.access.direct.data[i];
    byteSum = sum;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const MemoryFile file(std::string(reinterpret_cast<const char*>(data), size));
    img_lib_t attached = nullptr;
    require(img_lib_attach(&attached) == IMG_ERR_OK);
    const Library library(attached);

    img_t image = {};
    image.format = IMG_FMT_RGBA8888;
    image.flags = IMG_FORMAT;
    if (img_load_file(library.get(), file.path(), nullptr, &image) != IMG_ERR_OK)
        return 0;
    const Pixels pixels(image.access.direct.data);
    require(image.w > 0 && image.h > 0);
    require(image.access.direct.stride == image.w * 4);
    readAll(image);
    return 0;
}
