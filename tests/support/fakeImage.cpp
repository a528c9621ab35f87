#include "support/fakeImage.h"

#include <cstdlib>
#include <cstring>

#include "support/callLog.h"

FakeImage fakeImage;

namespace {

int libraryData;
const img_lib_t kLibrary = reinterpret_cast<img_lib_t>(&libraryData);

const char* nameOf(img_lib_t library) {
    return library == kLibrary ? "library" : library ? "unexpected" : "null";
}

}  // namespace

std::vector<uint8_t> imagePixels() {
    if (!fakeImage.pixels.empty())
        return fakeImage.pixels;
    std::vector<uint8_t> counting(static_cast<size_t>(fakeImage.width) * fakeImage.height * 4);
    uint8_t next = 0;
    for (uint8_t& byte : counting)
        byte = ++next;
    return counting;
}

int img_lib_attach(img_lib_t* library) {
    recordCall("img_lib_attach(%s)", nameOf(*library));
    if (fakeImage.attachResult == IMG_ERR_OK)
        *library = kLibrary;
    return fakeImage.attachResult;
}

void img_lib_detach(img_lib_t library) {
    recordCall("img_lib_detach(%s)", nameOf(library));
}

int img_load_file(img_lib_t library, const char* path, const img_decode_callouts_t* callouts,
                  img_t* image) {
    recordCall("img_load_file(%s, %s, %s, {format 0x%08X, flags %u})", nameOf(library), path,
               callouts ? "callouts" : "null", image->format, image->flags);
    if (fakeImage.loadResult != IMG_ERR_OK)
        return fakeImage.loadResult;

    const std::vector<uint8_t> pixels = imagePixels();
    image->access.direct.data = static_cast<uint8_t*>(malloc(pixels.size()));
    memcpy(image->access.direct.data, pixels.data(), pixels.size());
    image->access.direct.stride = fakeImage.stride ? fakeImage.stride : fakeImage.width * 4;
    image->w = fakeImage.width;
    image->h = fakeImage.height;
    image->flags |= IMG_W | IMG_H | IMG_DIRECT;
    return IMG_ERR_OK;
}
