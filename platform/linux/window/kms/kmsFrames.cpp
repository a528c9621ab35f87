#include "kd/windows/kmsFrames.h"

#include <drm_fourcc.h>
#include <sys/mman.h>
#include <xf86drm.h>

#include <cerrno>
#include <cstring>

#include "kd/windows/kmsChoice.h"
#include "report/layerError.h"

namespace {

constexpr uint32_t kBitsPerPixel = 32;

// The kernel's framebuffer over a piece of a card's memory.
class Framebuffer {
public:
    Framebuffer(std::shared_ptr<KmsCard> owner, const DisplaySize& size, uint32_t format,
                uint32_t handle, uint32_t stride)
        : card(std::move(owner)), format_(format) {
        const uint32_t handles[4] = {handle}, strides[4] = {stride}, offsets[4] = {0};
        if (drmModeAddFB2(card->fd.get(), static_cast<uint32_t>(size.width),
                          static_cast<uint32_t>(size.height), format, handles, strides, offsets,
                          &id_, 0) != 0)
            id_ = 0;
    }
    Framebuffer(const Framebuffer&) = delete;
    Framebuffer& operator=(const Framebuffer&) = delete;
    ~Framebuffer() {
        if (id_ != 0)
            drmModeRmFB(card->fd.get(), id_);
    }
    uint32_t id() const { return id_; }  // 0: the kernel refused it, errno says why
    uint32_t format() const { return format_; }

private:
    std::shared_ptr<KmsCard> card;
    uint32_t format_;
    uint32_t id_ = 0;
};

void dropFramebuffer(gbm_bo*, void* framebuffer) {
    const std::unique_ptr<Framebuffer> dropped(static_cast<Framebuffer*>(framebuffer));
}

// A surface has a few buffers that come round again: each gets its framebuffer once.
const Framebuffer* framebufferOf(const std::shared_ptr<KmsCard>& card, gbm_bo* buffer,
                                 uint32_t format) {
    auto* known = static_cast<Framebuffer*>(gbm_bo_get_user_data(buffer));
    if (known && known->format() == format)
        return known;
    dropFramebuffer(buffer, known);
    const DisplaySize size{static_cast<int32_t>(gbm_bo_get_width(buffer)),
                           static_cast<int32_t>(gbm_bo_get_height(buffer))};
    auto made = std::make_unique<Framebuffer>(card, size, format, gbm_bo_get_handle(buffer).u32,
                                              gbm_bo_get_stride(buffer));
    if (made->id() == 0) {
        layerError("kms: the card can't show what was drawn: %s", std::strerror(errno));
        made.reset();
    }
    gbm_bo_set_user_data(buffer, made.get(), dropFramebuffer);
    return made.release();
}

}  // namespace

KmsFramePtr takeSwappedFrame(const std::shared_ptr<KmsCard>& card, gbm_surface* surface,
                             uint32_t format) {
    gbm_bo* const locked = gbm_surface_lock_front_buffer(surface);
    if (!locked) {
        layerError("kms: the frame can't be taken from the surface: %s", std::strerror(errno));
        return nullptr;
    }
    const auto giveBack = [surface](gbm_bo* buffer) {
        gbm_surface_release_buffer(surface, buffer);
    };
    const std::shared_ptr<gbm_bo> buffer(locked, giveBack);
    const Framebuffer* const shown = format == 0 ? nullptr : framebufferOf(card, locked, format);
    if (!shown)
        return nullptr;
    // The frame dies with its last holder, and gives the buffer back by doing so.
    struct SwappedFrame : KmsFrame {
        std::shared_ptr<gbm_bo> buffer;
    };
    auto frame = std::make_shared<SwappedFrame>();
    frame->KmsFrame::buffer = shown->id();
    frame->buffer = buffer;
    return frame;
}

struct KmsMemoryFrames::Memory : KmsFrame {
    Memory(std::shared_ptr<KmsCard> owner, const DisplaySize& size, uint32_t format)
        : KmsFrame{0}, card(std::move(owner)) {
        const int fd = card->fd.get();
        uint64_t offset = 0;
        if (drmModeCreateDumbBuffer(fd, static_cast<uint32_t>(size.width),
                                    static_cast<uint32_t>(size.height), kBitsPerPixel, 0, &handle,
                                    &stride, &bytes) != 0) {
            handle = 0;
            return;
        }
        if (drmModeMapDumbBuffer(fd, handle, &offset) != 0)
            return;
        void* const mapped = mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_SHARED, fd,
                                  static_cast<off_t>(offset));
        if (mapped == MAP_FAILED)
            return;
        pixels = static_cast<uint8_t*>(mapped);
        framebuffer = std::make_unique<Framebuffer>(card, size, format, handle, stride);
        buffer = framebuffer->id();
    }
    Memory(const Memory&) = delete;
    Memory& operator=(const Memory&) = delete;
    ~Memory() {
        framebuffer.reset();
        if (pixels)
            munmap(pixels, bytes);
        if (handle != 0)
            drmModeDestroyDumbBuffer(card->fd.get(), handle);
    }

    std::shared_ptr<KmsCard> card;
    std::unique_ptr<Framebuffer> framebuffer;
    uint8_t* pixels = nullptr;  // mapped, `bytes` long
    uint64_t bytes = 0;
    uint32_t handle = 0;
    uint32_t stride = 0;
};

KmsMemoryFrames::KmsMemoryFrames(std::shared_ptr<KmsCard> owner, const DisplaySize& displaySize,
                                 uint32_t planeFormat)
    : card(std::move(owner)), size(displaySize), format(planeFormat) {}

KmsMemoryFrames::~KmsMemoryFrames() = default;

KmsFramePtr KmsMemoryFrames::copy(const uint8_t* rgba, const DisplaySize& picture) {
    for (std::shared_ptr<Memory>& memory : memories) {
        if (memory && memory.use_count() > 1)
            continue;
        // Zeroed by the kernel: what the picture does not cover stays black.
        if (!memory)
            memory = std::make_shared<Memory>(card, size, format);
        if (memory->buffer == 0) {
            if (!failureReported)
                layerError("kms: %s has no memory for a picture of %dx%d: %s", card->path.c_str(),
                           size.width, size.height, std::strerror(errno));
            failureReported = true;
            memory.reset();
            return nullptr;
        }
        copyPlaced(rgba, picture, placeCentred(picture, size), memory->pixels, memory->stride);
        return memory;
    }
    return nullptr;
}
