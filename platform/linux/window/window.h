// What shows a picture: a record of functions for each kind of display. The process picks one from
// a table, once, and everything else goes through the record. A window knows nothing of how
// pictures are drawn.
//
// All of it runs on the thread that draws, and what a window opens stays open until the process
// ends: there is one display and one window.
#pragma once

#include <optional>
#include <string>

#include "picture/picture.h"

// What the service wants its window to be.
struct WindowRequest {
    PixelSize size;  // 0 x 0: as the display would have it
    std::string caption;
    std::string id;
};

struct Window {
    const char* name;   // what the setting says before the colon
    bool fillsDisplay;  // has no size of its own when the automatic choice is given one

    // Whether the automatic choice may take it on this machine. Silent unless the environment names
    // a display server that cannot be reached.
    bool (*isPresent)();

    // Connects to the display; `argument` is what the setting says behind the colon. Returns the
    // size of the display; prints the failure and returns nothing.
    std::optional<PixelSize> (*open)(const std::string& argument);

    // Makes the window and puts it on the display. Returns its size, which is that of the pictures
    // it will get; prints the failure and returns nothing.
    std::optional<PixelSize> (*realize)(const WindowRequest& request);

    // Brings the picture's newest frame to the display, and takes in what the display has said
    // since. Ends the process if the display is gone for good. Never waits for the display: clients
    // are served by the same thread. The picture is always the same one and stays valid, so that a
    // frame which has to wait may be filled later.
    void (*present)(const Picture& picture);

    // Whether it turns the picture as VELKARIS_ROTATION says.
    bool turnsPictures = false;
};
