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

// Each scan goes over the whole picture. Cameras and encoders write some ten, a file made to hold
// up the start has hundreds.
constexpr int kMostScans = 64;

// Where the next scan begins, looking from a marker on; data.size() if there is none. The segments
// before it may hold whole files of their own, thumbnails say.
size_t nextScan(const std::vector<uint8_t>& data, size_t at) {
    while (at + 4 <= data.size() && data[at] == kMarker && data[at + 1] != kStartOfScan)
        at += data[at + 1] == kMarker ? 1 : 2 + size_t{data[at + 2]} * 256 + data[at + 3];
    const bool isScan = at + 4 <= data.size() && data[at] == kMarker;
    return isScan ? at : data.size();
}

size_t firstScan(const std::vector<uint8_t>& data) {
    return nextScan(data, 2);
}

// In the data of a scan no marker follows the byte, but a stuffed zero or a restart.
bool endsScan(uint8_t follower) {
    constexpr uint8_t kStuffed = 0x00, kFirstRestart = 0xd0, kLastRestart = 0xd7;
    return follower != kStuffed && !(follower >= kFirstRestart && follower <= kLastRestart);
}

bool hasTooManyScans(const std::vector<uint8_t>& data) {
    int scans = 0;
    for (size_t at = firstScan(data); at < data.size(); at = nextScan(data, at)) {
        if (++scans > kMostScans)
            return true;
        for (at += 2; at + 1 < data.size() && !(data[at] == kMarker && endsScan(data[at + 1]));)
            ++at;
    }
    return false;
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
    if (hasTooManyScans(data))
        return IMG_ERR_NOSUPPORT;
    if (const int error =
            allocatePixels(image, static_cast<unsigned>(width), static_cast<unsigned>(height)))
        return error;
    // A warning fails too: the library paints over what is missing and calls that a warning.
    if (tjDecompress2(decompressor.get(), data.data(), data.size(), image->pixels.get(), width, 0,
                      height, TJPF_RGBA, 0) != 0)
        return decodeError(data);
    return IMG_ERR_OK;
}

}  // namespace

const ImageCodec kJpegCodec = {decode, nullptr};
