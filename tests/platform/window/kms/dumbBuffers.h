// Stands in for the part of the kernel that hands out buffers of a card: they lie in a file without
// a name, whose descriptor stands for the card.
#pragma once

#include <cstdint>

#include "ownership/fileDescriptor.h"
#include "picture/pixelSize.h"

struct DumbBuffers {
    int created = 0;  // since the last reset
    int existing = 0;
    int framebuffers = 0;       // that exist; their numbers count from 1
    int createError = 0;        // of the next attempts
    uint32_t bitsPerPixel = 0;  // of the newest
    uint32_t format = 0;

    // A card's descriptor.
    FileDescriptor openCard() const;

    // The 32 bits at a byte's place in a framebuffer.
    uint32_t valueAt(uint32_t framebuffer, uint32_t byte) const;
    void setValueAt(uint32_t framebuffer, uint32_t byte, uint32_t value);
};

constexpr uint32_t kDumbStride = 256;  // bytes from a row to the next, of all of them

DumbBuffers& dumbBuffers();
void resetDumbBuffers();
