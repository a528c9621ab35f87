// Memory of a card that a display can show: a dumb buffer with the kernel's framebuffer over it,
// mapped to be written.
#pragma once

#include <cstdint>
#include <memory>

#include "window/kms/kmsCard.h"
#include "window/scanout/scanout.h"

class KmsBuffer {
public:
    // Black, of that size and format (a fourcc of choosePlaneFormat). Null with errno.
    static std::unique_ptr<KmsBuffer> create(std::shared_ptr<KmsCard> card, const PixelSize& size,
                                             uint32_t format);
    ~KmsBuffer();
    KmsBuffer(const KmsBuffer&) = delete;
    KmsBuffer& operator=(const KmsBuffer&) = delete;

    uint32_t framebuffer() const { return framebuffer_; }  // the kernel's number for it
    ScanoutMemory memory() const { return {pixels_, stride_}; }

private:
    explicit KmsBuffer(std::shared_ptr<KmsCard> card) : card_(std::move(card)) {}
    bool allocate(const PixelSize& size, uint32_t format);

    std::shared_ptr<KmsCard> card_;
    uint8_t* pixels_ = nullptr;  // mapped, `bytes_` long
    uint64_t bytes_ = 0;
    uint32_t stride_ = 0;
    uint32_t handle_ = 0;
    uint32_t framebuffer_ = 0;
};
