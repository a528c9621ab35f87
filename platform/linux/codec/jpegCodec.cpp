// JPEG files, baseline and progressive, grey and colour. Four-colour print files are refused: what
// their inks look like on a display is not in the file.
#include <img/img.h>
#include <turbojpeg.h>

#include <algorithm>

#include "codec/imageCodec.h"

namespace {

using Decompressor = std::unique_ptr<void, Release<tjDestroy>>;

constexpr uint8_t kMarker = 0xff;
constexpr uint8_t kEndOfImage = 0xd9;
constexpr uint8_t kStartOfScan = 0xda;

// Where the first scan begins, data.size() if there is none. The segments before it may hold whole
// files of their own, thumbnails say.
size_t firstScan(const std::vector<uint8_t>& data) {
    size_t at = 2;
    while (at + 4 <= data.size() && data[at] == kMarker && data[at + 1] != kStartOfScan)
        at += data[at + 1] == kMarker ? 1 : 2 + size_t{data[at + 2]} * 256 + data[at + 3];
    return std::min(at, data.size());
}

// Why a picture failed to decode: it never came to its end, or it is wrong inside.
int decodeError(const std::vector<uint8_t>& data) {
    constexpr uint8_t kEnd[] = {kMarker, kEndOfImage};
    const auto scan = data.begin() + static_cast<std::ptrdiff_t>(firstScan(data));
    const auto end = std::search(scan, data.end(), std::begin(kEnd), std::end(kEnd));
    return end == data.end() ? IMG_ERR_TRUNC : IMG_ERR_CORRUPT;
}

int decode(const std::vector<uint8_t>& data, DecodedImage* image) {
    const Decompressor decompressor(tjInitDecompress());
    if (!decompressor)
        return IMG_ERR_MEM;
    int width = 0, height = 0, subsampling = 0, colorspace = 0;
    // A file that ends within its first marker passes as one without a picture: no sides, no error.
    if (tjDecompressHeader3(decompressor.get(), data.data(), data.size(), &width, &height,
                            &subsampling, &colorspace) != 0 ||
        width < 1 || height < 1)
        return decodeError(data);
    if (colorspace == TJCS_CMYK || colorspace == TJCS_YCCK)
        return IMG_ERR_NOSUPPORT;
    if (const int error =
            allocatePixels(image, static_cast<unsigned>(width), static_cast<unsigned>(height)))
        return error;
    // A warning fails too: the library paints over what is missing and calls that a warning.
    if (tjDecompress2(decompressor.get(), data.data(), data.size(), image->pixels.get(), width, 0,
                      height, TJPF_RGBA, TJFLAG_LIMITSCANS) != 0)
        return decodeError(data);
    return IMG_ERR_OK;
}

}  // namespace

const ImageCodec kJpegCodec = {decode, nullptr};
