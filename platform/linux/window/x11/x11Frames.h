// Brings the rows that changed to a window on an X server: through shared memory where the server
// can, else as plain images. They are collected in a pixmap of the server's and shown together, so
// the window never shows half a frame, and has all of it when it is uncovered.
//
// One frame is on its way at a time, and with shared memory it is some small requests that the
// connection holds in any case: a server that hangs is never waited for. With plain images it is,
// once the connection is full.
#pragma once

#include <xcb/xcb.h>

#include <optional>
#include <vector>

#include "window/x11/x11PixelFormat.h"
#include "window/x11/x11Segment.h"

class X11Frames {
public:
    // The window has that format and size or a larger one, and wants Exposure events. Asks the
    // server and waits for what it says.
    X11Frames(xcb_connection_t* connection, xcb_window_t window, const X11PixelFormat& format,
              const PixelSize& size);

    // Shows the picture's newest frame, at once or when the one before has been read. It has the
    // size above, and is the same one each time.
    void show(const Picture& picture);

    // Takes part in the window's events: the server's answers, and what has to be shown again.
    void handle(const xcb_generic_event_t& event);

private:
    void sendNewest();
    void putShared(const RowSpan& rows, bool isLast);
    void putPlain(const RowSpan& rows);
    void copyToWindow(const RowSpan& rows);

    xcb_connection_t* connection_;
    xcb_window_t window_;
    X11PixelFormat format_;
    PixelSize size_;
    xcb_pixmap_t pixmap_;
    xcb_gcontext_t context_;
    std::optional<X11Segment> segment_;
    std::vector<uint8_t> image_;  // instead of the segment, what one request takes

    const Picture* picture_ = nullptr;
    uint32_t sentFrame_ = 0;  // which the pixmap has
    bool isExposed_ = false;  // the window has lost something of it
    int answersDue_ = 0;      // to what is on its way
};
