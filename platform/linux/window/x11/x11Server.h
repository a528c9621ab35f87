// The connection to the X server that DISPLAY names.
#pragma once

#include <xcb/xcb.h>

#include <cstdlib>
#include <memory>
#include <optional>

#include "ownership/release.h"

struct X11Server {
    std::unique_ptr<xcb_connection_t, Release<xcb_disconnect>> connection;
    const xcb_screen_t* screen = nullptr;  // the connection's
};

// What the server sent, a reply, an error or an event.
template <typename T>
using X11Message = std::unique_ptr<T, Release<std::free>>;

// Prints the failure and returns nothing. A server that takes the connection and then says nothing
// is given up.
std::optional<X11Server> connectToX11Server();
