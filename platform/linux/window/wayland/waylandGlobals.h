// What the compositor offers to everybody, as far as the console needs it: surfaces, the shell that
// makes windows of them, and the first display. Answers the shell's pings and hides the pointer
// over the console, whose shape would otherwise be whatever the last window left there.
#pragma once

#include "kd/windows/backend.h"

struct wl_compositor;
struct wl_display;
struct wl_output;
struct xdg_wm_base;

struct WaylandGlobals {
    wl_compositor* compositor = nullptr;
    xdg_wm_base* shell = nullptr;
    wl_output* output = nullptr;  // the display announced first; null: none is plugged in
    DisplaySize mode{};           // its current mode in pixels, as it is seen; 0 x 0: unknown
    int32_t scale = 1;            // its pixels along a side of one unit of a window's size
};

// Asks for them and waits for the answer. Prints the failure and returns null; borrowed otherwise.
const WaylandGlobals* waylandFindGlobals(wl_display* connection);
