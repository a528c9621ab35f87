#include "window/wayland/wayland.h"

#include <wayland-client.h>
#include <xdg-shell-client-protocol.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "dispatch/eventLoop.h"
#include "report/layerError.h"
#include "window/wayland/waylandConnection.h"
#include "window/wayland/waylandFrames.h"
#include "window/wayland/waylandGlobals.h"

namespace {

// The display's size as long as there is no display.
constexpr PixelSize kDefaultSize{1280, 480};

// What the compositor wants of the window. The size is in units of `scale` pixels, 0 x 0 where the
// window may choose.
struct Configuration {
    PixelSize size{};
    bool isMaximized = false;
    bool isFullScreen = false;
};

struct Console {
    const WaylandGlobals* globals = nullptr;
    bool isFullScreen = true;
    PixelSize displaySize{};

    wl_surface* surface = nullptr;
    xdg_surface* shellSurface = nullptr;
    xdg_toplevel* toplevel = nullptr;

    Configuration wanted;       // being told, valid once it is complete
    bool isConfigured = false;  // it was complete once
    PixelSize windowSize{};     // in units, settled by the first one; 0 x 0 before
    WaylandFrames frames;
};
Console console;

// Prints the failure.
bool findCompositor() {
    if (console.globals)
        return true;
    wl_display* const connection = waylandConnect();
    if (!connection) {
        layerError("wayland: can't connect to the compositor \"%s\": %s", waylandName().c_str(),
                   std::strerror(errno));
        return false;
    }
    console.globals = waylandFindGlobals(connection);
    return console.globals != nullptr;
}

bool isPresent() {
    for (const char* variable : {"WAYLAND_DISPLAY", "WAYLAND_SOCKET"}) {
        const char* value = std::getenv(variable);
        if (value && *value)
            return findCompositor();
    }
    return false;
}

// What it will be when the window is full screen, as far as that can be known before.
PixelSize sizeOfDisplay() {
    const PixelSize& mode = console.globals->mode;
    if (mode.width > 0 && mode.height > 0)
        return mode;
    layerError("wayland: the compositor has no display yet; taking it for %dx%d",
               kDefaultSize.width, kDefaultSize.height);
    return kDefaultSize;
}

std::optional<PixelSize> open(const std::string& argument) {
    const std::optional<PixelSize> size = parsePixelSize(argument);
    if (!argument.empty() && !size) {
        layerError("VELKARIS_WINDOW: wayland:%s is no size; write wayland or wayland:WIDTHxHEIGHT",
                   argument.c_str());
        return std::nullopt;
    }
    if (!findCompositor())
        return std::nullopt;
    console.isFullScreen = !size;
    console.displaySize = size ? *size : sizeOfDisplay();
    return console.displaySize;
}

// A window of a fixed size has one unit a pixel, whatever the display has.
int32_t scale() {
    return console.isFullScreen ? console.globals->scale : 1;
}

void readConfiguration(void*, xdg_toplevel*, int32_t width, int32_t height, wl_array* states) {
    const auto* first = static_cast<const uint32_t*>(states->data);
    const uint32_t* const end = first + states->size / sizeof *first;
    console.wanted.size = {width, height};
    console.wanted.isMaximized = std::find(first, end, XDG_TOPLEVEL_STATE_MAXIMIZED) != end;
    console.wanted.isFullScreen = std::find(first, end, XDG_TOPLEVEL_STATE_FULLSCREEN) != end;
}

void endWithWindow(void*, xdg_toplevel*) {
    std::exit(EXIT_SUCCESS);
}

// A full-screen window may be smaller than the screen, but not larger: what is too much counts as
// lying outside of the window.
void keepInside(const PixelSize& limit) {
    PixelSize inside = console.windowSize;
    if (console.wanted.isFullScreen && limit.width > 0 && limit.height > 0)
        inside = {std::min(limit.width, inside.width), std::min(limit.height, inside.height)};
    xdg_surface_set_window_geometry(console.shellSurface, 0, 0, inside.width, inside.height);
}

// The console keeps the size that it was started with. A maximized window has no such choice, and
// one that acknowledges a size and has another one is ended; without its word nothing happens.
void acknowledge(void*, xdg_surface*, uint32_t serial) {
    const bool isSettled = console.windowSize.width > 0;
    const bool mustFit = console.wanted.isMaximized && !console.wanted.isFullScreen;
    if (isSettled && mustFit && console.wanted.size != console.windowSize)
        return;
    xdg_surface_ack_configure(console.shellSurface, serial);
    if (isSettled) {
        keepInside(console.wanted.size);
        // Valid from the next commit on, and the next frame may be long in coming.
        wl_surface_commit(console.surface);
    }
    console.isConfigured = true;
}

xdg_toplevel_listener toplevelListener() {
    xdg_toplevel_listener listener{};  // what later versions of the interface say stays null
    listener.configure = readConfiguration;
    listener.close = endWithWindow;
    return listener;
}

void makeWindow(const WindowRequest& request) {
    static const xdg_surface_listener surfaceListener{acknowledge};
    static const xdg_toplevel_listener listener = toplevelListener();
    console.surface = wl_compositor_create_surface(console.globals->compositor);
    console.shellSurface = xdg_wm_base_get_xdg_surface(console.globals->shell, console.surface);
    xdg_surface_add_listener(console.shellSurface, &surfaceListener, nullptr);
    console.toplevel = xdg_surface_get_toplevel(console.shellSurface);
    xdg_toplevel_add_listener(console.toplevel, &listener, nullptr);
    xdg_toplevel_set_title(console.toplevel, request.caption.c_str());
    xdg_toplevel_set_app_id(console.toplevel, "velkaris");
}

void askForSize() {
    const PixelSize& size = console.displaySize;
    if (console.isFullScreen) {
        xdg_toplevel_set_fullscreen(console.toplevel, console.globals->output);
    } else {
        xdg_toplevel_set_min_size(console.toplevel, size.width, size.height);
        xdg_toplevel_set_max_size(console.toplevel, size.width, size.height);
    }
}

void tellScale() {
    const auto version = wl_proxy_get_version(reinterpret_cast<wl_proxy*>(console.surface));
    if (scale() > 1 && version >= WL_SURFACE_SET_BUFFER_SCALE_SINCE_VERSION)
        wl_surface_set_buffer_scale(console.surface, scale());
}

// In the units of the compositor: as it says where it has the say, else as asked.
PixelSize settledSize() {
    const PixelSize& told = console.wanted.size;
    const bool isTold = told.width > 0 && told.height > 0;
    if (isTold && (console.isFullScreen || console.wanted.isMaximized))
        return told;
    return {std::max(console.displaySize.width / scale(), 1),
            std::max(console.displaySize.height / scale(), 1)};
}

void handleEvents(void*) {
    waylandServe();
    console.frames.presentWaiting();
    waylandSend();
}

std::optional<PixelSize> realize(const WindowRequest& request) {
    makeWindow(request);
    askForSize();
    tellScale();
    // Without a picture this only asks for the configuration, which has to come first.
    wl_surface_commit(console.surface);
    if (!waylandServeUntil(&console.isConfigured)) {
        layerError("wayland: the compositor does not show the window");
        return std::nullopt;
    }
    console.windowSize = settledSize();
    const PixelSize size{console.windowSize.width * scale(), console.windowSize.height * scale()};
    if (!console.frames.open(console.globals->shm, console.surface, size, scale()))
        return std::nullopt;
    if (!eventLoopWatch(wl_display_get_fd(waylandConnect()), handleEvents, nullptr)) {
        layerError("wayland: can't watch the connection to the compositor: %s",
                   std::strerror(errno));
        return std::nullopt;
    }
    return size;
}

void present(const Picture& picture) {
    console.frames.take(picture);
    handleEvents(nullptr);
}

}  // namespace

const Window kWaylandWindow = {"wayland", false, isPresent, open, realize, present};
