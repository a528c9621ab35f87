#include "egl/capture.h"

#include <fcntl.h>
#include <png.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

#include "ownership/release.h"
#include "report/layerError.h"
#include "settings/layerSettings.h"

namespace {

constexpr mode_t kFolderMode = 0777;
constexpr mode_t kFileMode = 0666;
constexpr size_t kBytesPerPixel = 4;

using File = std::unique_ptr<FILE, Release<std::fclose>>;

File createFile(const std::string& path) {
    // Removed first: what a killed console left there might belong to somebody else by now.
    unlink(path.c_str());
    const int descriptor = open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, kFileMode);
    return File(descriptor < 0 ? nullptr : fdopen(descriptor, "wb"));
}

}  // namespace

FrameCapture::FrameCapture(std::string captureFolder)
    : folder(std::move(captureFolder)), temporarySuffix("." + std::to_string(getpid()) + ".tmp") {}

void FrameCapture::read(EGLDisplay display, EGLSurface surface) {
    readSurfacePixels(display, surface, &pixels);
}

void FrameCapture::write() {
    writeFrame(pixels.rgba, pixels.width, pixels.height);
}

bool FrameCapture::writeFrame(const std::vector<uint8_t>& rgba, int32_t frameWidth,
                              int32_t frameHeight) {
    ++frameCount;
    char name[32];
    std::snprintf(name, sizeof name, "frame-%06u.png", frameCount);
    // Made when it is needed: a folder that vanishes comes back with the next frame.
    if (mkdir(folder.c_str(), kFolderMode) != 0 && errno != EEXIST)
        return fail(folder, std::strerror(errno));
    const std::string temporary = folder + "/." + name + temporarySuffix;
    if (!writePicture(temporary, rgba, frameWidth, frameHeight) || !publish(temporary, name)) {
        unlink(temporary.c_str());
        return false;
    }
    return linkLatest(name);
}

bool FrameCapture::writePicture(const std::string& path, const std::vector<uint8_t>& rgba,
                                int32_t frameWidth, int32_t frameHeight) {
    // The display shows no alpha, and a picture with alpha would look different.
    rgb.resize(rgba.size() / kBytesPerPixel * 3);
    uint8_t* to = rgb.data();
    for (const uint8_t *from = rgba.data(), *end = from + rgba.size(); from != end;
         from += kBytesPerPixel, to += 3) {
        to[0] = from[0];
        to[1] = from[1];
        to[2] = from[2];
    }

    File file = createFile(path);
    if (!file)
        return fail(path, std::strerror(errno));
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    image.width = static_cast<png_uint_32>(frameWidth);
    image.height = static_cast<png_uint_32>(frameHeight);
    image.format = PNG_FORMAT_RGB;
    image.flags = PNG_IMAGE_FLAG_FAST;  // a full-size frame a second must leave time to serve
    // A negative stride: the rows lie bottom up, as GL delivers them.
    if (!png_image_write_to_stdio(&image, file.get(), 0, rgb.data(), -frameWidth * 3, nullptr))
        return fail(path, image.message);
    // The last bytes reach the file now, and a full disk may show only here.
    if (std::fclose(file.release()) != 0)
        return fail(path, std::strerror(errno));
    return true;
}

bool FrameCapture::publish(const std::string& temporary, const std::string& name) {
    const std::string path = folder + "/" + name;
    if (std::rename(temporary.c_str(), path.c_str()) != 0)
        return fail(path, std::strerror(errno));
    return true;
}

bool FrameCapture::linkLatest(const std::string& name) {
    const std::string path = folder + "/latest.png";
    const std::string temporary = folder + "/.latest.png" + temporarySuffix;
    unlink(temporary.c_str());
    if (symlink(name.c_str(), temporary.c_str()) != 0)
        return fail(temporary, std::strerror(errno));
    if (publish(temporary, "latest.png"))
        return true;
    unlink(temporary.c_str());
    return false;
}

bool FrameCapture::fail(const std::string& path, const char* reason) {
    if (!failureReported)
        layerError("capture: %s: %s (said once)", path.c_str(), reason);
    failureReported = true;
    return false;
}

FrameCapture* configuredCapture() {
    static const std::unique_ptr<FrameCapture> capture = [] {
        std::string folder = readLayerSettings().captureFolder;
        return folder.empty() ? nullptr : std::make_unique<FrameCapture>(std::move(folder));
    }();
    return capture.get();
}
