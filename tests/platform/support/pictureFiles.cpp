#include "platform/support/pictureFiles.h"

#include <png.h>
#include <turbojpeg.h>
#include <zlib.h>

#include <fstream>
#include <iterator>
#include <memory>
#include <stdexcept>

namespace {

// libpng would jump where there is nowhere to jump to.
[[noreturn]] void throwError(png_structp, png_const_charp message) {
    throw std::runtime_error(message);
}

void append(png_structp png, png_bytep data, size_t size) {
    auto* to = static_cast<Bytes*>(png_get_io_ptr(png));
    to->insert(to->end(), data, data + size);
}

void setTransparency(png_structp png, png_infop info, const PngContent& content) {
    png_color_16 color{};
    if (content.transparentGrey >= 0) {
        color.gray = static_cast<png_uint_16>(content.transparentGrey);
        png_set_tRNS(png, info, nullptr, 0, &color);
    } else if (!content.transparentColor.empty()) {
        const Bytes& samples = content.transparentColor;
        color.red = static_cast<png_uint_16>(samples[0] << 8 | samples[1]);
        color.green = static_cast<png_uint_16>(samples[2] << 8 | samples[3]);
        color.blue = static_cast<png_uint_16>(samples[4] << 8 | samples[5]);
        png_set_tRNS(png, info, nullptr, 0, &color);
    } else if (!content.paletteAlpha.empty()) {
        png_set_tRNS(png, info, content.paletteAlpha.data(),
                     static_cast<int>(content.paletteAlpha.size()), nullptr);
    }
}

void setHeader(png_structp png, png_infop info, const PngContent& content) {
    png_set_IHDR(png, info, content.width, content.height, content.bitDepth, content.colorType,
                 content.interlaced ? PNG_INTERLACE_ADAM7 : PNG_INTERLACE_NONE,
                 PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    if (content.gamma != 0)
        png_set_gAMA(png, info, content.gamma);
    std::vector<png_color> palette;
    for (size_t i = 0; i + 2 < content.palette.size(); i += 3)
        palette.push_back({content.palette[i], content.palette[i + 1], content.palette[i + 2]});
    if (!palette.empty())
        png_set_PLTE(png, info, palette.data(), static_cast<int>(palette.size()));
    setTransparency(png, info, content);
}

uint32_t bigEndian32(const uint8_t* bytes) {
    return uint32_t{bytes[0]} << 24 | uint32_t{bytes[1]} << 16 | uint32_t{bytes[2]} << 8 | bytes[3];
}

void appendBigEndian32(Bytes* to, uint32_t value) {
    for (int shift = 24; shift >= 0; shift -= 8)
        to->push_back(static_cast<uint8_t>(value >> shift));
}

Bytes compress(const uint8_t* pixels, int width, int height, int format, int subsampling,
               int flags) {
    const std::unique_ptr<void, int (*)(tjhandle)> compressor(tjInitCompress(), tjDestroy);
    unsigned char* data = nullptr;
    unsigned long size = 0;
    if (tjCompress2(compressor.get(), pixels, width, 0, height, format, &data, &size, subsampling,
                    100, flags) != 0)
        throw std::runtime_error(tjGetErrorStr2(compressor.get()));
    const Bytes file(data, data + size);
    tjFree(data);
    return file;
}

}  // namespace

Bytes encodePng(const PngContent& content) {
    Bytes file;
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, throwError, nullptr);
    png_infop info = png_create_info_struct(png);
    png_set_write_fn(png, &file, append, nullptr);
    setHeader(png, info, content);
    const size_t pitch = content.rows.size() / content.height;
    std::vector<png_bytep> rows;
    for (uint32_t y = 0; y < content.height; ++y)
        rows.push_back(const_cast<png_bytep>(content.rows.data() + y * pitch));
    png_set_rows(png, info, rows.data());
    png_write_png(png, info, PNG_TRANSFORM_IDENTITY, nullptr);
    png_destroy_write_struct(&png, &info);
    return file;
}

Bytes joinPngChunks(const std::vector<PngChunk>& chunks) {
    Bytes file{0x89, 'P', 'N', 'G', '\r', '\n', 0x1a, '\n'};
    for (const PngChunk& chunk : chunks) {
        appendBigEndian32(&file, static_cast<uint32_t>(chunk.data.size()));
        const size_t checked = file.size();
        file.insert(file.end(), chunk.type.begin(), chunk.type.end());
        file.insert(file.end(), chunk.data.begin(), chunk.data.end());
        appendBigEndian32(
            &file, static_cast<uint32_t>(
                       crc32(0, file.data() + checked, static_cast<uInt>(file.size() - checked))));
    }
    return file;
}

std::vector<PngChunk> splitPngChunks(const Bytes& file) {
    std::vector<PngChunk> chunks;
    for (size_t at = 8; at + 12 <= file.size();) {
        const uint32_t length = bigEndian32(&file[at]);
        const auto data = file.begin() + static_cast<std::ptrdiff_t>(at + 8);
        chunks.push_back({std::string(data - 4, data), Bytes(data, data + length)});
        at += length + 12;
    }
    return chunks;
}

Bytes encodeJpeg(const JpegContent& content) {
    return compress(content.rgb.data(), content.width, content.height, TJPF_RGB,
                    content.grey ? TJSAMP_GRAY : TJSAMP_444,
                    TJFLAG_ACCURATEDCT | (content.progressive ? TJFLAG_PROGRESSIVE : 0));
}

Bytes encodeCmykJpeg(int width, int height) {
    const Bytes inks(static_cast<size_t>(width * height * 4), 128);
    return compress(inks.data(), width, height, TJPF_CMYK, TJSAMP_444, 0);
}

void writeFile(const std::string& path, const Bytes& bytes) {
    std::ofstream file(path, std::ios::binary);
    file.write(reinterpret_cast<const char*>(bytes.data()),
               static_cast<std::streamsize>(bytes.size()));
    if (!file.flush())
        throw std::runtime_error("cannot write " + path);
}

Bytes readFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return Bytes(std::istreambuf_iterator<char>(file), {});
}

DecodedPicture readPng(const std::string& path) {
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    if (!png_image_begin_read_from_file(&image, path.c_str()))
        return {};
    image.format = PNG_FORMAT_RGBA;
    DecodedPicture picture{image.width, image.height, Bytes(PNG_IMAGE_SIZE(image))};
    if (!png_image_finish_read(&image, nullptr, picture.rgba.data(), 0, nullptr))
        return {};
    return picture;
}
