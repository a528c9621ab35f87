#include "platform/window/kms/dumbBuffers.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <xf86drmMode.h>

#include <cerrno>
#include <cstdlib>

namespace {

constexpr uint64_t kBytesOfBuffer = 1 << 20;

int memory() {
    static const int file = [] {
        const int made = memfd_create("card", MFD_CLOEXEC);
        return made >= 0 && ftruncate(made, 64 * kBytesOfBuffer) == 0 ? made : -1;
    }();
    return file;
}

off_t offsetOf(uint32_t buffer) {
    return static_cast<off_t>(buffer % 64 * kBytesOfBuffer);
}

}  // namespace

DumbBuffers& dumbBuffers() {
    static DumbBuffers buffers;
    return buffers;
}

void resetDumbBuffers() {
    dumbBuffers() = {};
    // New pages are black.
    if (ftruncate(memory(), 0) != 0 || ftruncate(memory(), 64 * kBytesOfBuffer) != 0)
        std::abort();
}

FileDescriptor DumbBuffers::openCard() const {
    return FileDescriptor(fcntl(memory(), F_DUPFD_CLOEXEC, 0));
}

uint32_t DumbBuffers::valueAt(uint32_t framebuffer, uint32_t byte) const {
    uint32_t value = 0;
    if (pread(memory(), &value, sizeof value, offsetOf(framebuffer) + byte) != sizeof value)
        std::abort();
    return value;
}

void DumbBuffers::setValueAt(uint32_t framebuffer, uint32_t byte, uint32_t value) {
    if (pwrite(memory(), &value, sizeof value, offsetOf(framebuffer) + byte) != sizeof value)
        std::abort();
}

extern "C" {

int drmModeCreateDumbBuffer(int, uint32_t, uint32_t height, uint32_t bitsPerPixel, uint32_t,
                            uint32_t* handle, uint32_t* stride, uint64_t* bytes) {
    DumbBuffers& buffers = dumbBuffers();
    if (buffers.createError != 0) {
        errno = buffers.createError;
        return -buffers.createError;
    }
    ++buffers.existing;
    buffers.bitsPerPixel = bitsPerPixel;
    *handle = static_cast<uint32_t>(++buffers.created);
    *stride = kDumbStride;
    *bytes = uint64_t{kDumbStride} * height;
    return 0;
}

int drmModeMapDumbBuffer(int, uint32_t handle, uint64_t* offset) {
    *offset = static_cast<uint64_t>(offsetOf(handle));
    return 0;
}

int drmModeDestroyDumbBuffer(int, uint32_t) {
    --dumbBuffers().existing;
    return 0;
}

int drmModeAddFB2(int, uint32_t, uint32_t, uint32_t format, const uint32_t handles[4],
                  const uint32_t[4], const uint32_t[4], uint32_t* framebuffer, uint32_t) {
    ++dumbBuffers().framebuffers;
    dumbBuffers().format = format;
    *framebuffer = handles[0];
    return 0;
}

int drmModeRmFB(int, uint32_t) {
    --dumbBuffers().framebuffers;
    return 0;
}

}  // extern "C"
