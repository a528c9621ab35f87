#include "window/wayland/waylandBuffers.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>
#include <wayland-client.h>

#include <cerrno>
#include <cstring>
#include <memory>

#include "ownership/fileDescriptor.h"
#include "ownership/release.h"
#include "report/layerError.h"

namespace {

using ShmPool = std::unique_ptr<wl_shm_pool, Release<wl_shm_pool_destroy>>;

// Sealed, so that the compositor need not fear that the memory shrinks while it reads.
FileDescriptor createMemory(int32_t size) {
    FileDescriptor memory(memfd_create("velkaris picture", MFD_CLOEXEC | MFD_ALLOW_SEALING));
    if (memory && ftruncate(memory.get(), size) == 0 &&
        fcntl(memory.get(), F_ADD_SEALS, F_SEAL_SHRINK | F_SEAL_SEAL) == 0)
        return memory;
    return FileDescriptor();
}

// Of one buffer in bytes; 0 when it is more than the protocol can say.
int32_t byteCount(const PixelSize& size) {
    const int64_t bytes = int64_t{size.width} * size.height * int64_t{sizeof(uint32_t)};
    return bytes <= INT32_MAX ? static_cast<int32_t>(bytes) : 0;
}

}  // namespace

bool WaylandBuffers::create(wl_shm* shm, const PixelSize& size) {
    if (byteCount(size) == 0) {
        layerError("wayland: a window of %dx%d is too large", size.width, size.height);
        return false;
    }
    for (Buffer& each : buffers_) {
        if (!create(shm, size, &each)) {
            layerError("wayland: no memory for a picture of %dx%d: %s", size.width, size.height,
                       std::strerror(errno));
            return false;
        }
    }
    return true;
}

bool WaylandBuffers::create(wl_shm* shm, const PixelSize& size, Buffer* made) {
    static const wl_buffer_listener listener{release};
    const int32_t bytes = byteCount(size);
    const FileDescriptor memory = createMemory(bytes);
    if (!memory)
        return false;
    void* const pixels = mmap(nullptr, static_cast<size_t>(bytes), PROT_READ | PROT_WRITE,
                              MAP_SHARED, memory.get(), 0);
    if (pixels == MAP_FAILED)
        return false;
    made->pixels = static_cast<uint32_t*>(pixels);
    const ShmPool pool(wl_shm_create_pool(shm, memory.get(), bytes));
    // Every compositor takes this format. It has no alpha: nothing shines through the console.
    made->buffer = wl_shm_pool_create_buffer(pool.get(), 0, size.width, size.height,
                                             size.width * static_cast<int32_t>(sizeof(uint32_t)),
                                             WL_SHM_FORMAT_XRGB8888);
    wl_buffer_add_listener(made->buffer, &listener, made);
    return true;
}

void WaylandBuffers::release(void* buffer, wl_buffer*) {
    static_cast<Buffer*>(buffer)->isReleased = true;
}

wl_buffer* WaylandBuffers::fillOne(const Picture& picture) {
    // The one with the newer frame has fewer rows to fill. With a compositor that copies what it is
    // given and releases it at once, the other one is never touched and takes no memory.
    Buffer* chosen = nullptr;
    for (Buffer& each : buffers_) {
        if (each.isReleased && (!chosen || each.frame > chosen->frame))
            chosen = &each;
    }
    if (!chosen)
        return nullptr;
    const auto stride = static_cast<size_t>(picture.size().width);
    for (const RowSpan& rows : picture.changedSince(chosen->frame))
        picture.fill(rows, chosen->pixels + static_cast<size_t>(rows.first) * stride, stride);
    chosen->frame = picture.frame();
    chosen->isReleased = false;
    return chosen->buffer;
}
