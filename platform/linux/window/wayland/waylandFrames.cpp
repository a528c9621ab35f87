#include "window/wayland/waylandFrames.h"

#include <wayland-client.h>

namespace {

// More stretches of rows than this are reported as one: a connection to a compositor that hangs
// must have room for all of them, because a request without room ends it.
constexpr size_t kMostStretches = 128;

void forget(void* waited, wl_callback* callback, uint32_t) {
    *static_cast<wl_callback**>(waited) = nullptr;
    wl_callback_destroy(callback);
}

}  // namespace

bool WaylandFrames::open(wl_shm* shm, wl_surface* surface, const PixelSize& size, int32_t scale) {
    surface_ = surface;
    size_ = size;
    scale_ = scale;
    return buffers_.create(shm, size);
}

void WaylandFrames::presentWaiting() {
    static const wl_callback_listener listener{forget};
    if (!waiting_ || untilShown_)
        return;
    const std::vector<RowSpan> changed = waiting_->changedSince(surfaceFrame_);
    if (changed.empty()) {
        waiting_ = nullptr;
        return;
    }
    wl_buffer* const buffer = buffers_.fillOne(*waiting_);
    if (!buffer)
        return;
    wl_surface_attach(surface_, buffer, 0, 0);
    damage(changed);
    untilShown_ = wl_surface_frame(surface_);
    wl_callback_add_listener(untilShown_, &listener, &untilShown_);
    wl_surface_commit(surface_);
    surfaceFrame_ = waiting_->frame();
    waiting_ = nullptr;
}

void WaylandFrames::damage(const std::vector<RowSpan>& changed) const {
    if (changed.size() > kMostStretches) {
        damage(RowSpan{changed.front().first, changed.back().end});
        return;
    }
    for (const RowSpan& rows : changed)
        damage(rows);
}

void WaylandFrames::damage(const RowSpan& rows) const {
    const auto version = wl_proxy_get_version(reinterpret_cast<wl_proxy*>(surface_));
    if (version >= WL_SURFACE_DAMAGE_BUFFER_SINCE_VERSION) {
        wl_surface_damage_buffer(surface_, 0, rows.first, size_.width, rows.end - rows.first);
        return;
    }
    // Older compositors count in units of the surface: all that the rows touch.
    const int32_t first = rows.first / scale_;
    const int32_t end = (rows.end + scale_ - 1) / scale_;
    wl_surface_damage(surface_, 0, first, (size_.width + scale_ - 1) / scale_, end - first);
}
