// When the Wayland compositor gets a frame, and what it is told of it. Frames go out one at a time:
// the next when the last has been shown and a buffer is free. One that is finished earlier waits,
// and the next one takes its place.
#pragma once

#include "picture/picture.h"
#include "window/wayland/waylandBuffers.h"

struct wl_callback;
struct wl_shm;
struct wl_surface;

class WaylandFrames {
public:
    WaylandFrames() = default;
    WaylandFrames(const WaylandFrames&) = delete;
    WaylandFrames& operator=(const WaylandFrames&) = delete;

    // Gets ready for pictures of `size` pixels on `surface`, which shows `scale` of them along a
    // side of one of its units. False after printing the failure.
    bool open(wl_shm* shm, wl_surface* surface, const PixelSize& size, int32_t scale);

    // The newest frame of `picture` is to be shown. The picture must stay.
    void take(const Picture& picture) { waiting_ = &picture; }

    // Hands the compositor the newest frame if it waits and may go out; nothing if it looks like
    // the last one. Call it after take() and whenever the compositor has said something.
    void presentWaiting();

private:
    void damage(const std::vector<RowSpan>& changed) const;
    void damage(const RowSpan& rows) const;

    WaylandBuffers buffers_;
    wl_surface* surface_ = nullptr;
    PixelSize size_{};
    int32_t scale_ = 1;
    const Picture* waiting_ = nullptr;
    wl_callback* untilShown_ = nullptr;  // null when the compositor has shown what it got
    uint32_t surfaceFrame_ = 0;          // the number of the frame that it got last
};
