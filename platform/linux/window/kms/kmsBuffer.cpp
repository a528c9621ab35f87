#include "window/kms/kmsBuffer.h"

#include <sys/mman.h>
#include <xf86drm.h>

#include <cerrno>

#include "window/kms/kmsChoice.h"

std::unique_ptr<KmsBuffer> KmsBuffer::create(std::shared_ptr<KmsCard> card, const PixelSize& size,
                                             uint32_t format) {
    std::unique_ptr<KmsBuffer> buffer(new KmsBuffer(std::move(card)));
    if (buffer->allocate(size, format))
        return buffer;
    const int error = errno;
    buffer.reset();
    errno = error;
    return nullptr;
}

bool KmsBuffer::allocate(const PixelSize& size, uint32_t format) {
    const int fd = card_->fd.get();
    const auto width = static_cast<uint32_t>(size.width);
    const auto height = static_cast<uint32_t>(size.height);
    uint32_t handle = 0;
    if (drmModeCreateDumbBuffer(fd, width, height, 8 * pixelFormatOf(format).bytes, 0, &handle,
                                &stride_, &bytes_) != 0)
        return false;
    handle_ = handle;
    uint64_t offset = 0;
    if (drmModeMapDumbBuffer(fd, handle_, &offset) != 0)
        return false;
    void* const mapped =
        mmap(nullptr, bytes_, PROT_READ | PROT_WRITE, MAP_SHARED, fd, static_cast<off_t>(offset));
    if (mapped == MAP_FAILED)
        return false;
    pixels_ = static_cast<uint8_t*>(mapped);
    const uint32_t handles[4] = {handle_}, strides[4] = {stride_}, offsets[4] = {0};
    return drmModeAddFB2(fd, width, height, format, handles, strides, offsets, &framebuffer_, 0) ==
           0;
}

KmsBuffer::~KmsBuffer() {
    if (framebuffer_ != 0)
        drmModeRmFB(card_->fd.get(), framebuffer_);
    if (pixels_)
        munmap(pixels_, bytes_);
    if (handle_ != 0)
        drmModeDestroyDumbBuffer(card_->fd.get(), handle_);
}
