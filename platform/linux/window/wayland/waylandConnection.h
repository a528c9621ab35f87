// The connection to the Wayland compositor: the one reader of what it says on our queue, and the
// one place that notices its loss. The drivers use the same connection with queues of their own, so
// what concerns us may be read by them and wait here: serve after every call that they are in.
#pragma once

#include <string>

struct wl_display;

// Connects to the compositor that the environment names, once: later calls get the same. Null with
// errno when there is none. Never closed: the drivers go on using it until the process is gone.
wl_display* waylandConnect();

// What the environment calls the compositor, for messages.
std::string waylandName();

// Takes in what the compositor has said, sends what we have to say, and waits for neither. Ends the
// process with status 1 when the connection is lost.
void waylandServe();

// Serves until *reached, which a handler sets. False when the compositor takes longer than anybody
// would wait for a picture.
bool waylandServeUntil(const bool* reached);
