// The image library: finds out what kind of file it is and has it decoded.
#include <fcntl.h>
#include <img/img.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <new>
#include <vector>

#include "codec/codecChoice.h"
#include "ownership/fileDescriptor.h"
#include "ownership/release.h"

struct img_lib {};

namespace {

using File = std::unique_ptr<FILE, Release<std::fclose>>;

// A pipe or a device could keep the caller waiting, already while it is opened, or never end.
File openRegular(const char* path) {
    FileDescriptor descriptor(open(path, O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    struct stat status {};
    if (!descriptor || fstat(descriptor.get(), &status) != 0)
        return nullptr;
    if (!S_ISREG(status.st_mode)) {
        errno = S_ISDIR(status.st_mode) ? EISDIR : EINVAL;
        return nullptr;
    }
    File file(fdopen(descriptor.get(), "rb"));
    if (file)
        descriptor.release();
    return file;
}

// Reads on only if a codec knows the beginning.
int readFile(const char* path, std::vector<uint8_t>* data) {
    constexpr size_t kPiece = 65536;
    const File file = openRegular(path);
    if (!file)
        return IMG_ERR_FILE;
    for (size_t got = kPiece; got == kPiece;) {
        const size_t before = data->size();
        data->resize(before + kPiece);
        got = std::fread(data->data() + before, 1, kPiece, file.get());
        data->resize(before + got);
        if (std::ferror(file.get()))
            return IMG_ERR_FILE;
        if (data->empty())
            return IMG_ERR_NODATA;
        if (!imageFormat(*data))
            return IMG_ERR_FORMAT;
    }
    return IMG_ERR_OK;
}

int load(const char* path, DecodedImage* image) {
    try {
        std::vector<uint8_t> data;
        if (const int error = readFile(path, &data))
            return error;
        const ImageCodec* const codec = imageCodec(imageFormat(data));
        return codec ? codec->decode(data, image) : IMG_ERR_DLL;
    } catch (const std::bad_alloc&) {
        return IMG_ERR_MEM;
    }
}

// Only fields whose flag is set may be read: the others may hold garbage.
int refusal(const img_t& request) {
    if (request.flags & (IMG_W | IMG_H | IMG_DIRECT | IMG_INDIRECT))
        return IMG_ERR_NOSUPPORT;
    if ((request.flags & IMG_FORMAT) && request.format != IMG_FMT_RGBA8888)
        return IMG_ERR_NOSUPPORT;
    return IMG_ERR_OK;
}

}  // namespace

extern "C" {

int img_lib_attach(img_lib_t* ilib) {
    if (!ilib)
        return IMG_ERR_PARM;
    *ilib = new (std::nothrow) img_lib;
    return *ilib ? IMG_ERR_OK : IMG_ERR_MEM;
}

void img_lib_detach(img_lib_t ilib) {
    delete ilib;
}

int img_load_file(img_lib_t ilib, const char* path, const img_decode_callouts_t* callouts,
                  img_t* img) {
    if (!ilib || !path || !img)
        return IMG_ERR_PARM;
    if (callouts)
        return IMG_ERR_NOTIMPL;
    if (const int error = refusal(*img))
        return error;
    DecodedImage image{};
    if (const int error = load(path, &image))
        return error;
    img->w = image.width;
    img->h = image.height;
    img->format = IMG_FMT_RGBA8888;
    img->access.direct.stride = image.width * 4;
    img->access.direct.data = image.pixels.release();
    img->flags |= IMG_FORMAT | IMG_W | IMG_H | IMG_DIRECT;
    return IMG_ERR_OK;
}

}  // extern "C"
