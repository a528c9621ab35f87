// The memory that the console shares with the Wayland compositor: two buffers of a whole picture
// each. The compositor reads the one that it was given last, and may keep it until it has the next.
#pragma once

#include <array>

#include "picture/picture.h"

struct wl_buffer;
struct wl_shm;

class WaylandBuffers {
public:
    WaylandBuffers() = default;
    WaylandBuffers(const WaylandBuffers&) = delete;
    WaylandBuffers& operator=(const WaylandBuffers&) = delete;

    // Makes them, once. They stay until the process ends. False after printing the failure.
    bool create(wl_shm* shm, const PixelSize& size);

    // A buffer with the newest frame of `picture`, which must be of the same size. From then on it
    // is the compositor's until that releases it. Null while the compositor holds both.
    wl_buffer* fillOne(const Picture& picture);

private:
    struct Buffer {
        wl_buffer* buffer = nullptr;
        uint32_t* pixels = nullptr;  // rows without gaps
        uint32_t frame = 0;          // the number of the frame in it; 0: none yet
        bool isReleased = true;      // the compositor does not read it
    };
    static bool create(wl_shm* shm, const PixelSize& size, Buffer* made);
    static void release(void* buffer, wl_buffer*);

    std::array<Buffer, 2> buffers_;
};
