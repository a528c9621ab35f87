#include "picture/frameCapture.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <new>

#include "codec/codecChoice.h"
#include "ownership/release.h"
#include "report/layerError.h"
#include "settings/layerSettings.h"

namespace {

constexpr mode_t kFolderMode = 0777;
constexpr mode_t kFileMode = 0666;
constexpr size_t kBytesPerPixel = 3;

using File = std::unique_ptr<FILE, Release<std::fclose>>;

File createFile(const std::string& path) {
    // Removed first: what a killed console left there might belong to somebody else by now.
    unlink(path.c_str());
    const int descriptor = open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, kFileMode);
    return File(descriptor < 0 ? nullptr : fdopen(descriptor, "wb"));
}

}  // namespace

FrameCapture::FrameCapture(std::string folder)
    : folder_(std::move(folder)),
      temporarySuffix_("." + std::to_string(getpid()) + ".tmp"),
      png_(imageCodec("png")) {}

bool FrameCapture::write(const Picture& picture) {
    if (!png_)
        return false;
    ++frameCount_;
    try {
        takeChangedRows(picture);
    } catch (const std::bad_alloc&) {
        takenFrame_ = 0;
        return fail(folder_, "no memory for a picture");
    }
    char name[32];
    std::snprintf(name, sizeof name, "frame-%06u.png", frameCount_);
    // Made when it is needed: a folder that vanishes comes back with the next frame.
    if (mkdir(folder_.c_str(), kFolderMode) != 0 && errno != EEXIST)
        return fail(folder_, std::strerror(errno));
    const std::string temporary = folder_ + "/." + name + temporarySuffix_;
    if (!writePicture(temporary, picture.size()) || !publish(temporary, name)) {
        unlink(temporary.c_str());
        return false;
    }
    return linkLatest(name);
}

void FrameCapture::takeChangedRows(const Picture& picture) {
    const auto width = static_cast<size_t>(picture.size().width);
    rgb_.resize(width * static_cast<size_t>(picture.size().height) * kBytesPerPixel);
    std::vector<uint32_t> row(width);
    for (const RowSpan& span : picture.changedSince(takenFrame_)) {
        for (int32_t y = span.first; y < span.end; ++y) {
            picture.fill({y, y + 1}, row.data(), width);
            uint8_t* to = rgb_.data() + static_cast<size_t>(y) * width * kBytesPerPixel;
            for (const uint32_t pixel : row) {
                *to++ = static_cast<uint8_t>(pixel >> 16);
                *to++ = static_cast<uint8_t>(pixel >> 8);
                *to++ = static_cast<uint8_t>(pixel);
            }
        }
    }
    takenFrame_ = picture.frame();
}

bool FrameCapture::writePicture(const std::string& path, const PixelSize& size) {
    File file = createFile(path);
    if (!file)
        return fail(path, std::strerror(errno));
    std::string reason;
    if (!png_->write(file.get(), static_cast<unsigned>(size.width),
                     static_cast<unsigned>(size.height), rgb_.data(), &reason))
        return fail(path, reason.c_str());
    // The last bytes reach the file now, and a full disk may show only here.
    if (std::fclose(file.release()) != 0)
        return fail(path, std::strerror(errno));
    return true;
}

bool FrameCapture::publish(const std::string& temporary, const std::string& name) {
    const std::string path = folder_ + "/" + name;
    if (std::rename(temporary.c_str(), path.c_str()) != 0)
        return fail(path, std::strerror(errno));
    return true;
}

bool FrameCapture::linkLatest(const std::string& name) {
    const std::string path = folder_ + "/latest.png";
    const std::string temporary = folder_ + "/.latest.png" + temporarySuffix_;
    unlink(temporary.c_str());
    if (symlink(name.c_str(), temporary.c_str()) != 0)
        return fail(temporary, std::strerror(errno));
    if (publish(temporary, "latest.png"))
        return true;
    unlink(temporary.c_str());
    return false;
}

bool FrameCapture::fail(const std::string& path, const char* reason) {
    if (!failureReported_)
        layerError("capture: %s: %s (said once)", path.c_str(), reason);
    failureReported_ = true;
    return false;
}

FrameCapture* configuredCapture() {
    static const std::unique_ptr<FrameCapture> capture = []() -> std::unique_ptr<FrameCapture> {
        std::string folder = readLayerSettings().captureFolder;
        if (folder.empty())
            return nullptr;
        if (!hasImageFormat("png")) {
            layerError("VELKARIS_CAPTURE: this console was built without PNG");
            return nullptr;
        }
        return std::make_unique<FrameCapture>(std::move(folder));
    }();
    return capture.get();
}
