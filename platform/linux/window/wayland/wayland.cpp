#include "kd/windows/wayland.h"

#include <EGL/eglext.h>
#include <KD/kd.h>
#include <wayland-client.h>
#include <wayland-egl.h>
#include <xdg-shell-client-protocol.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "dispatch/eventLoop.h"
#include "egl/realEgl.h"
#include "kd/windows/waylandConnection.h"
#include "kd/windows/waylandGlobals.h"
#include "report/layerError.h"

namespace {

// The display's size as long as there is no display.
constexpr DisplaySize kDefaultSize{1280, 480};

const WaylandGlobals* globals = nullptr;
bool isFullScreen = true;
DisplaySize displaySize{};

// Never destroyed: the drivers go on using them until the process is gone.
wl_surface* surface = nullptr;
xdg_surface* shellSurface = nullptr;
xdg_toplevel* toplevel = nullptr;

// What the compositor wants of the window. Sizes are in units of `scale` pixels, 0 x 0 where the
// window may choose.
struct Configuration {
    DisplaySize size{};
    bool isMaximized = false;
    bool isFullScreen = false;
};
Configuration wanted;       // being told, valid once it is complete
bool isConfigured = false;  // it was complete once
DisplaySize windowSize{};   // settled by the first one; 0 x 0 before

// Frames go to the compositor one at a time: the next when the last has been handled, which keeps
// the drivers from waiting for it, and shown. A frame that is finished earlier waits in the back
// buffer, and the next one is drawn over it.
wl_callback* untilHandled = nullptr;
wl_callback* untilShown = nullptr;
struct WaitingFrame {
    EGLDisplay display;
    EGLSurface surface;
};
std::optional<WaitingFrame> waitingFrame;
bool swapsWithoutWaiting = false;

// Prints the failure.
bool findCompositor() {
    if (globals)
        return true;
    wl_display* const connection = waylandConnect();
    if (!connection) {
        layerError("wayland: can't connect to the compositor \"%s\": %s", waylandName().c_str(),
                   std::strerror(errno));
        return false;
    }
    globals = waylandFindGlobals(connection);
    return globals != nullptr;
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
DisplaySize sizeOfDisplay() {
    if (globals->mode.width > 0 && globals->mode.height > 0)
        return globals->mode;
    layerError("wayland: the compositor has no display yet; taking it for %dx%d",
               kDefaultSize.width, kDefaultSize.height);
    return kDefaultSize;
}

std::optional<NativeDisplay> open(const std::string& argument) {
    const std::optional<DisplaySize> size = parseSize(argument);
    if (!argument.empty() && !size) {
        layerError("VELKARIS_WINDOW: wayland:%s is no size; write wayland or wayland:WIDTHxHEIGHT",
                   argument.c_str());
        return std::nullopt;
    }
    if (!findCompositor())
        return std::nullopt;
    isFullScreen = !size;
    displaySize = size ? *size : sizeOfDisplay();
    return NativeDisplay{EGL_PLATFORM_WAYLAND_KHR, waylandConnect(), displaySize};
}

// A window of a fixed size has one unit a pixel, whatever the display has.
int32_t scale() {
    return isFullScreen ? globals->scale : 1;
}

void readConfiguration(void*, xdg_toplevel*, int32_t width, int32_t height, wl_array* states) {
    wanted = Configuration{{width, height}, false, false};
    const auto* first = static_cast<const uint32_t*>(states->data);
    const uint32_t* const end = first + states->size / sizeof *first;
    wanted.isMaximized = std::find(first, end, XDG_TOPLEVEL_STATE_MAXIMIZED) != end;
    wanted.isFullScreen = std::find(first, end, XDG_TOPLEVEL_STATE_FULLSCREEN) != end;
}

void endWithWindow(void*, xdg_toplevel*) {
    std::exit(EXIT_SUCCESS);
}

// A full-screen window may be smaller than the screen, but not larger: what is too much counts as
// lying outside of the window. It is for the next frame to say so.
void keepInside(const DisplaySize& limit) {
    const bool limited = wanted.isFullScreen && limit.width > 0 && limit.height > 0;
    const int32_t width = limited ? std::min(limit.width, windowSize.width) : windowSize.width;
    const int32_t height = limited ? std::min(limit.height, windowSize.height) : windowSize.height;
    xdg_surface_set_window_geometry(shellSurface, 0, 0, width, height);
}

// The console keeps the size that it was started with. A maximized window has no such choice, and
// one that acknowledges a size and has another one is ended; without its word nothing happens.
void acknowledge(void*, xdg_surface*, uint32_t serial) {
    const bool isSettled = windowSize.width > 0;
    const bool mustFit = wanted.isMaximized && !wanted.isFullScreen;
    if (isSettled && mustFit && !isSameSize(wanted.size, windowSize))
        return;
    xdg_surface_ack_configure(shellSurface, serial);
    if (isSettled)
        keepInside(wanted.size);
    isConfigured = true;
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
    surface = wl_compositor_create_surface(globals->compositor);
    shellSurface = xdg_wm_base_get_xdg_surface(globals->shell, surface);
    xdg_surface_add_listener(shellSurface, &surfaceListener, nullptr);
    toplevel = xdg_surface_get_toplevel(shellSurface);
    xdg_toplevel_add_listener(toplevel, &listener, nullptr);
    xdg_toplevel_set_title(toplevel, request.caption.c_str());
    xdg_toplevel_set_app_id(toplevel, "velkaris");
}

void askForSize() {
    if (isFullScreen) {
        xdg_toplevel_set_fullscreen(toplevel, globals->output);
    } else {
        xdg_toplevel_set_min_size(toplevel, displaySize.width, displaySize.height);
        xdg_toplevel_set_max_size(toplevel, displaySize.width, displaySize.height);
    }
}

// The service blends into the surface's alpha as well, and a compositor would let the desktop shine
// through wherever that leaves less than full alpha.
void declareOpaque() {
    wl_region* const everything = wl_compositor_create_region(globals->compositor);
    wl_region_add(everything, 0, 0, INT32_MAX, INT32_MAX);
    wl_surface_set_opaque_region(surface, everything);
    wl_region_destroy(everything);
}

// In the units of the compositor: as it says where it has the say, else as asked.
DisplaySize settledSize() {
    const bool told = wanted.size.width > 0 && wanted.size.height > 0;
    if (told && (isFullScreen || wanted.isMaximized))
        return wanted.size;
    return {std::max(displaySize.width / scale(), 1), std::max(displaySize.height / scale(), 1)};
}

void tellScale() {
    const auto version = wl_proxy_get_version(reinterpret_cast<wl_proxy*>(surface));
    if (scale() > 1 && version >= WL_SURFACE_SET_BUFFER_SCALE_SINCE_VERSION)
        wl_surface_set_buffer_scale(surface, scale());
}

void presentWaitingFrame();

void handleEvents(void*) {
    waylandServe();
    presentWaitingFrame();
}

int realize(const WindowRequest& request, EGLNativeWindowType* native) {
    makeWindow(request);
    askForSize();
    declareOpaque();
    tellScale();
    // Without a picture this only asks for the configuration, which has to come first.
    wl_surface_commit(surface);
    if (!waylandServeUntil(&isConfigured)) {
        layerError("wayland: the compositor does not show the window");
        return KD_EIO;
    }
    windowSize = settledSize();
    auto* const window =
        wl_egl_window_create(surface, windowSize.width * scale(), windowSize.height * scale());
    if (!window) {
        layerError("wayland: can't make a window for EGL");
        return KD_ENOMEM;
    }
    if (!eventLoopWatch(wl_display_get_fd(waylandConnect()), handleEvents, nullptr)) {
        layerError("wayland: can't watch the connection to the compositor, error %d", errno);
        return KD_EIO;
    }
    *native = reinterpret_cast<EGLNativeWindowType>(window);
    return 0;
}

EGLSurface createSurface(EGLDisplay display, EGLConfig config, EGLNativeWindowType native,
                         const EGLint* attributes) {
    return __real_eglCreateWindowSurface(display, config, native, attributes);
}

void forget(void* waited, wl_callback* callback, uint32_t) {
    *static_cast<wl_callback**>(waited) = nullptr;
    wl_callback_destroy(callback);
}

const wl_callback_listener kForgetting{forget};

EGLBoolean swap(EGLDisplay display, EGLSurface eglSurface) {
    // The drivers' own pacing waits for the compositor. The interval belongs to the surface, so it
    // is set once that is current.
    if (!swapsWithoutWaiting)
        swapsWithoutWaiting = eglSwapInterval(display, 0) == EGL_TRUE;
    untilShown = wl_surface_frame(surface);  // goes out with the frame
    wl_callback_add_listener(untilShown, &kForgetting, &untilShown);
    const EGLBoolean swapped = __real_eglSwapBuffers(display, eglSurface);
    if (swapped == EGL_TRUE) {
        // Asked after the drivers' own questions, so once it is answered, so are they.
        untilHandled = wl_display_sync(waylandConnect());
        wl_callback_add_listener(untilHandled, &kForgetting, &untilHandled);
    } else {
        wl_callback_destroy(untilShown);
        untilShown = nullptr;
    }
    // The drivers read from the same connection: events that they took off the socket are in the
    // queue, and nothing becomes readable for them any more.
    waylandServe();
    return swapped;
}

void presentWaitingFrame() {
    if (!waitingFrame || untilHandled || untilShown)
        return;
    const WaitingFrame frame = *waitingFrame;
    waitingFrame.reset();
    swap(frame.display, frame.surface);
}

void listen() {
    // The one that waited was drawn over.
    waitingFrame.reset();
    waylandServe();
}

EGLBoolean present(EGLDisplay display, EGLSurface eglSurface) {
    if (untilHandled || untilShown) {
        waitingFrame = WaitingFrame{display, eglSurface};
        return EGL_TRUE;
    }
    return swap(display, eglSurface);
}

}  // namespace

const WindowBackend kWaylandBackend = {
    "wayland", EGL_WINDOW_BIT, isPresent, open, realize, createSurface, listen, present,
};
