// PNG files. What the file says of colour spaces is left out, so that every sample comes out as it
// was put in; so are texts and everything else that is no part of the picture.
#include <img/img.h>
#include <png.h>

#include <cstring>

#include "codec/imageCodec.h"

namespace {

constexpr uint8_t kSignature[] = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1a, '\n'};
constexpr size_t kChunkFrame = 12;  // length, type, checksum
constexpr size_t kHeaderData = 13;  // of the IHDR chunk

uint32_t bigEndian32(const uint8_t* bytes) {
    return uint32_t{bytes[0]} << 24 | uint32_t{bytes[1]} << 16 | uint32_t{bytes[2]} << 8 | bytes[3];
}

bool isType(const uint8_t* chunk, const char* type) {
    return std::memcmp(chunk + 4, type, 4) == 0;
}

// Critical chunks have a capital first letter; of the others only transparency makes the picture.
bool isPicture(const uint8_t* chunk) {
    return (chunk[4] & 0x20) == 0 || isType(chunk, "tRNS");
}

// The chunks of `data` that make the picture, up to and with the last one.
int pictureChunks(const std::vector<uint8_t>& data, std::vector<uint8_t>* picture) {
    picture->assign(kSignature, kSignature + sizeof kSignature);
    size_t at = sizeof kSignature;
    while (data.size() - at >= kChunkFrame) {
        const uint8_t* chunk = data.data() + at;
        const size_t length = kChunkFrame + bigEndian32(chunk);
        if (length > data.size() - at)
            return IMG_ERR_TRUNC;
        if (isPicture(chunk))
            picture->insert(picture->end(), chunk, chunk + length);
        if (isType(chunk, "IEND"))
            return IMG_ERR_OK;
        at += length;
    }
    return IMG_ERR_TRUNC;
}

int allocateForHeader(const std::vector<uint8_t>& picture, DecodedImage* image) {
    const uint8_t* chunk = picture.data() + sizeof kSignature;
    if (bigEndian32(chunk) != kHeaderData || !isType(chunk, "IHDR"))
        return IMG_ERR_CORRUPT;
    return allocatePixels(image, bigEndian32(chunk + 8), bigEndian32(chunk + 12));
}

int decode(const std::vector<uint8_t>& data, DecodedImage* image) {
    std::vector<uint8_t> picture;
    if (const int error = pictureChunks(data, &picture))
        return error;
    if (const int error = allocateForHeader(picture, image))
        return error;

    struct FreedImage : png_image {
        ~FreedImage() { png_image_free(this); }
    } reader{};
    reader.version = PNG_IMAGE_VERSION;
    if (!png_image_begin_read_from_memory(&reader, picture.data(), picture.size()))
        return IMG_ERR_CORRUPT;
    reader.format = PNG_FORMAT_RGBA;
    reader.flags |= PNG_IMAGE_FLAG_16BIT_sRGB;  // else sixteen bits are taken as linear light
    if (!png_image_finish_read(&reader, nullptr, image->pixels.get(), 0, nullptr))
        return IMG_ERR_CORRUPT;
    return IMG_ERR_OK;
}

bool write(FILE* file, unsigned width, unsigned height, const uint8_t* rgb, std::string* reason) {
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    image.width = width;
    image.height = height;
    image.format = PNG_FORMAT_RGB;
    image.flags = PNG_IMAGE_FLAG_FAST;  // a full-size frame a second must leave time to serve
    if (png_image_write_to_stdio(&image, file, 0, rgb, 0, nullptr))
        return true;
    *reason = image.message;
    return false;
}

}  // namespace

const ImageCodec kPngCodec = {decode, write};
