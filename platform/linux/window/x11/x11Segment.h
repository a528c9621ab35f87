// Memory that this process shares with the X server, so that pixels need not go through the
// connection. It has no name: nothing is left of it when both processes have ended, however they
// do.
#pragma once

#include <xcb/shm.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>

struct X11Segment {
    struct Unmap {
        size_t bytes;
        void operator()(uint8_t* memory) const;
    };

    std::unique_ptr<uint8_t, Unmap> memory;
    xcb_shm_seg_t id;
    uint8_t completionEvent;  // the type of those that tell that the server has read
};

// Asks the server and waits for what it says. Nothing when it cannot, as over a network, or when
// there is no memory; silent then, because pictures can be sent as well.
std::optional<X11Segment> shareX11Segment(xcb_connection_t* connection, size_t bytes);
