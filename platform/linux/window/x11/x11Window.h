// The window itself, and what it tells the window manager.
#pragma once

#include <xcb/xcb.h>

#include "window/window.h"
#include "window/x11/x11PixelFormat.h"
#include "window/x11/x11Server.h"

// The names that the protocol has numbers for.
struct X11Atoms {
    xcb_atom_t utf8String;
    xcb_atom_t wmProtocols, wmDeleteWindow;
    xcb_atom_t netWmName, netWmOpaqueRegion, netWmState, netWmStateFullscreen;
};

// Waits for the server. All 0 if it is lost.
X11Atoms readX11Atoms(xcb_connection_t* connection);

// A window that is not shown yet, of the request's size: full screen and without a pointer, or one
// that cannot be resized. Wants Exposure and StructureNotify events.
xcb_window_t createX11Window(const X11Server& server, const X11Atoms& atoms,
                             const X11PixelFormat& format, const WindowRequest& request,
                             bool isFullScreen);
