// The connection to the Wayland compositor: the one reader of what it says, and the one place that
// notices its loss.
#pragma once

#include <string>

struct wl_display;

// Connects to the compositor that the environment names, once: later calls get the same. Null with
// errno when there is none. Never closed.
wl_display* waylandConnect();

// What the environment calls the compositor, for messages.
std::string waylandName();

// Takes in what the compositor has said, and runs its handlers. Does not wait. Ends the process
// with status 1 when the connection is lost.
void waylandServe();

// Sends what we have to say. Does not wait: what a full connection has no room for stays for the
// next time.
void waylandSend();

// Sends and serves until *reached, which a handler sets. False when the compositor takes longer
// than anybody would wait for a picture.
bool waylandServeUntil(const bool* reached);
