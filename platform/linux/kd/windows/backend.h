// The ways to put the console's one window in front of somebody. Each is a record of functions; the
// process picks one of them from a table, once, and everything else goes through the record.
//
// All of it runs on the thread that draws, and what a backend opens stays open until the process
// ends: there is one display and one window.
#pragma once

#include <EGL/egl.h>

#include <cstdint>
#include <optional>
#include <string>

struct DisplaySize {
    int32_t width;  // pixels
    int32_t height;
};
inline bool isSameSize(const DisplaySize& left, const DisplaySize& right) {
    return left.width == right.width && left.height == right.height;
}

// What eglGetPlatformDisplay needs to know of an opened backend, and the size of its display.
struct NativeDisplay {
    EGLenum platform;
    void* handle;  // borrowed from the backend
    DisplaySize size;
};

// The window that kdRealizeWindow wants.
struct WindowRequest {
    EGLDisplay display;
    EGLConfig config;
    DisplaySize size;  // 0 x 0: as the display would have it
    std::string caption;
    std::string id;
};

struct WindowBackend {
    const char* name;  // what the setting says before the colon

    // The surface type that stands behind its windows: a config that can do this is offered to the
    // service as one that can do windows.
    EGLint surfaceBit;

    // Whether the automatic choice may take it on this machine. Silent unless the environment names
    // a display server and that one can't be had.
    bool (*isPresent)();

    // Connects to the display; `argument` is what the setting says behind the colon. Prints the
    // failure and returns nothing.
    std::optional<NativeDisplay> (*open)(const std::string& argument);

    // Makes the window and puts it on the display; *window is then what createSurface takes, never
    // 0. Returns 0, or prints the failure and returns its kd error.
    int (*realize)(const WindowRequest& request, EGLNativeWindowType* window);

    // eglCreateWindowSurface for a window of this backend.
    EGLSurface (*createSurface)(EGLDisplay display, EGLConfig config, EGLNativeWindowType window,
                                const EGLint* attributes);

    // Before a drawn frame is looked at in any way: takes in what the display has said meanwhile,
    // and ends the process if it is gone. Drivers do not survive reading a frame of a lost display.
    void (*listen)();

    // eglSwapBuffers, and whatever else brings the frame to the display. Never waits for the
    // display: clients are served by the same thread.
    EGLBoolean (*present)(EGLDisplay display, EGLSurface surface);
};

// The backend of this process with its opened display, or null when the setting is wrong or the
// display cannot be had. The first call chooses, opens and prints the failure, if any.
struct OpenedBackend {
    const WindowBackend* backend;
    NativeDisplay native;
};
const OpenedBackend* openedBackend();

// "WIDTHxHEIGHT" in pixels, each 1 to 32767 without sign or blanks.
std::optional<DisplaySize> parseSize(const std::string& text);
