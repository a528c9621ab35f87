#include "window/wayland/waylandGlobals.h"

#include <wayland-client.h>
#include <xdg-shell-client-protocol.h>

#include <algorithm>
#include <cstring>
#include <utility>

#include "report/layerError.h"
#include "window/wayland/waylandConnection.h"

namespace {

WaylandGlobals globals;

void takeCompositor(void* proxy) {
    globals.compositor = static_cast<wl_compositor*>(proxy);
}

void takeShm(void* proxy) {
    // It goes on to name its formats; the one in use is always among them.
    static const wl_shm_listener listener{[](void*, wl_shm*, uint32_t) {}};
    globals.shm = static_cast<wl_shm*>(proxy);
    wl_shm_add_listener(globals.shm, &listener, nullptr);
}

void answerPing(void*, xdg_wm_base* shell, uint32_t serial) {
    xdg_wm_base_pong(shell, serial);
}

void takeShell(void* proxy) {
    static const xdg_wm_base_listener listener{answerPing};
    globals.shell = static_cast<xdg_wm_base*>(proxy);
    xdg_wm_base_add_listener(globals.shell, &listener, nullptr);
}

void readGeometry(void*, wl_output*, int32_t, int32_t, int32_t, int32_t, int32_t, const char*,
                  const char*, int32_t transform) {
    constexpr int32_t kQuarterTurns[] = {WL_OUTPUT_TRANSFORM_90, WL_OUTPUT_TRANSFORM_270,
                                         WL_OUTPUT_TRANSFORM_FLIPPED_90,
                                         WL_OUTPUT_TRANSFORM_FLIPPED_270};
    globals.isTurned =
        std::count(std::begin(kQuarterTurns), std::end(kQuarterTurns), transform) > 0;
}

void readMode(void*, wl_output*, uint32_t flags, int32_t width, int32_t height, int32_t) {
    if ((flags & WL_OUTPUT_MODE_CURRENT) == 0)
        return;
    globals.mode = globals.isTurned ? PixelSize{height, width} : PixelSize{width, height};
}

void readScale(void*, wl_output*, int32_t scale) {
    globals.scale = std::max(scale, 1);
}

void endOfOutput(void*, wl_output*) {}

// Members that only later versions of an interface call stay null.
wl_output_listener outputListener() {
    wl_output_listener listener{};
    listener.geometry = readGeometry;
    listener.mode = readMode;
    listener.done = endOfOutput;
    listener.scale = readScale;
    return listener;
}

void takeOutput(void* proxy) {
    static const wl_output_listener listener = outputListener();
    auto* output = static_cast<wl_output*>(proxy);
    if (globals.output) {
        wl_output_destroy(output);
        return;
    }
    globals.output = output;
    wl_output_add_listener(output, &listener, nullptr);
}

void hidePointer(void*, wl_pointer* pointer, uint32_t serial, wl_surface*, wl_fixed_t, wl_fixed_t) {
    wl_pointer_set_cursor(pointer, serial, nullptr, 0, 0);
}

wl_pointer_listener pointerListener() {
    wl_pointer_listener listener{};
    listener.enter = hidePointer;
    listener.leave = [](void*, wl_pointer*, uint32_t, wl_surface*) {};
    listener.motion = [](void*, wl_pointer*, uint32_t, wl_fixed_t, wl_fixed_t) {};
    listener.button = [](void*, wl_pointer*, uint32_t, uint32_t, uint32_t, uint32_t) {};
    listener.axis = [](void*, wl_pointer*, uint32_t, uint32_t, wl_fixed_t) {};
    return listener;
}

// Mice come and go; the seat remembers its pointer as its user data.
void followPointer(void* known, wl_seat* seat, uint32_t capabilities) {
    static const wl_pointer_listener listener = pointerListener();
    auto* pointer = static_cast<wl_pointer*>(known);
    const bool hasPointer = (capabilities & WL_SEAT_CAPABILITY_POINTER) != 0;
    if (hasPointer && !pointer) {
        pointer = wl_seat_get_pointer(seat);
        wl_pointer_add_listener(pointer, &listener, nullptr);
    } else if (!hasPointer && pointer) {
        wl_pointer_destroy(std::exchange(pointer, nullptr));
    }
    wl_seat_set_user_data(seat, pointer);
}

wl_seat_listener seatListener() {
    wl_seat_listener listener{};
    listener.capabilities = followPointer;
    return listener;
}

void takeSeat(void* proxy) {
    static const wl_seat_listener listener = seatListener();
    wl_seat_add_listener(static_cast<wl_seat*>(proxy), &listener, nullptr);
}

struct Global {
    const wl_interface* interface;
    uint32_t version;  // the newest that is understood here
    void (*take)(void* proxy);
};

const Global kGlobals[] = {
    {&wl_compositor_interface, 4, takeCompositor},
    {&wl_shm_interface, 1, takeShm},
    {&xdg_wm_base_interface, 1, takeShell},
    {&wl_output_interface, 2, takeOutput},
    {&wl_seat_interface, 1, takeSeat},
};

void take(void*, wl_registry* registry, uint32_t name, const char* interface, uint32_t version) {
    for (const Global& global : kGlobals) {
        if (std::strcmp(interface, global.interface->name) == 0)
            global.take(wl_registry_bind(registry, name, global.interface,
                                         std::min(version, global.version)));
    }
}

// A display that is unplugged takes nothing along: the compositor moves the window or keeps it.
void ignoreRemoval(void*, wl_registry*, uint32_t) {}

void setReached(void* reached, wl_callback* callback, uint32_t) {
    *static_cast<bool*>(reached) = true;
    wl_callback_destroy(callback);
}

// Until the compositor has handled everything that was asked so far. The flag outlives the call,
// because a slow compositor still answers then.
bool roundTrip(wl_display* connection, bool* reached) {
    static const wl_callback_listener listener{setReached};
    wl_callback_add_listener(wl_display_sync(connection), &listener, reached);
    return waylandServeUntil(reached);
}

// Null when nothing is.
const wl_interface* missingInterface() {
    if (!globals.compositor)
        return &wl_compositor_interface;
    if (!globals.shm)
        return &wl_shm_interface;
    return globals.shell ? nullptr : &xdg_wm_base_interface;
}

}  // namespace

const WaylandGlobals* waylandFindGlobals(wl_display* connection) {
    static const wl_registry_listener listener{take, ignoreRemoval};
    static bool announced = false, described = false;
    wl_registry_add_listener(wl_display_get_registry(connection), &listener, nullptr);
    // Once for what there is, once for what the display says about itself.
    if (!roundTrip(connection, &announced) || !roundTrip(connection, &described)) {
        layerError("wayland: the compositor \"%s\" does not answer", waylandName().c_str());
        return nullptr;
    }
    if (const wl_interface* const missing = missingInterface()) {
        layerError("wayland: the compositor does not offer %s", missing->name);
        return nullptr;
    }
    return &globals;
}
