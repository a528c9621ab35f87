// What the compositor offers to everybody, as far as the console needs it: surfaces, memory
// shared with it, the shell that makes windows of surfaces, and the first display. Answers the
// shell's pings and hides the pointer over the console, whose shape would otherwise be whatever the
// last window left there.
#pragma once

#include "picture/pixelSize.h"

struct wl_compositor;
struct wl_display;
struct wl_output;
struct wl_shm;
struct xdg_wm_base;

struct WaylandGlobals {
    wl_compositor* compositor = nullptr;
    wl_shm* shm = nullptr;
    xdg_wm_base* shell = nullptr;
    wl_output* output = nullptr;  // the display announced first; null: none is plugged in
    PixelSize mode{};             // its current mode in pixels, as it is seen; 0 x 0: unknown
    bool isTurned = false;        // it stands on its side; the mode is turned already
    int32_t scale = 1;            // its pixels along a side of one unit of a window's size
};

// Asks for them and waits for the answer. Prints the failure and returns null; borrowed otherwise.
const WaylandGlobals* waylandFindGlobals(wl_display* connection);
