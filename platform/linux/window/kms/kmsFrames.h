// Pictures that a display can scan out, each with what must outlive it. Two kinds: buffers that the
// GPU has drawn itself, and plain memory that a frame is copied into where
// those do not fit: on another card, or on a display of another size.
//
// Whoever holds a frame keeps its buffer from being drawn to again.
#pragma once

#include <gbm.h>

#include <array>
#include <cstdint>
#include <memory>

#include "kd/windows/backend.h"
#include "kd/windows/kmsCard.h"

struct KmsFrame {
    uint32_t buffer;  // the kernel's name for it (framebuffer id)
};
using KmsFramePtr = std::shared_ptr<const KmsFrame>;

using GbmDevice = std::unique_ptr<gbm_device, Release<gbm_device_destroy>>;
using GbmSurface = std::unique_ptr<gbm_surface, Release<gbm_surface_destroy>>;

// Takes the frame that was swapped last from the surface; it goes back when the last holder drops
// it, so the surface must outlive it. `format` is what the display takes it for. Null, after
// printing the failure, or when `format` is 0: then the frame only goes back.
KmsFramePtr takeSwappedFrame(const std::shared_ptr<KmsCard>& card, gbm_surface* surface,
                             uint32_t format);

// Memory of a card in the size of one display, enough to draw while one buffer is shown and another
// one on its way.
class KmsMemoryFrames {
public:
    KmsMemoryFrames(std::shared_ptr<KmsCard> card, const DisplaySize& size, uint32_t format);
    ~KmsMemoryFrames();

    // Copies a picture, rows of R,G,B,A from the bottom row up, to the middle of a frame that
    // nobody holds. Null when all are held or, after printing that once, when there is no memory.
    KmsFramePtr copy(const uint8_t* rgba, const DisplaySize& picture);

private:
    struct Memory;

    std::shared_ptr<KmsCard> card;
    DisplaySize size;
    uint32_t format;
    std::array<std::shared_ptr<Memory>, 3> memories;
    bool failureReported = false;
};
