// Brings frames to a window on an X server without ever waiting for the server: in pieces, each
// sent when the one before has been taken, and small enough that the connection holds it whatever
// the server does. Only rows that changed are sent; they are collected in a pixmap, so that the
// window never shows half a frame.
//
// A frame that is finished while another is on its way waits, and is replaced by a newer one.
#pragma once

#include <X11/Xlib.h>
#include <X11/Xutil.h>

#include <cstdint>
#include <vector>

#include "egl/surfacePixels.h"
#include "kd/windows/backend.h"

class X11Frames {
public:
    // The window of that visual has to want PropertyNotify and Expose events. Its connection and
    // itself last as long as this.
    X11Frames(Display* connection, Window window, const XVisualInfo& visual,
              const DisplaySize& size);

    // Where the next frame is read to. show() then takes it as the newest.
    SurfacePixels* pixels() { return &newest; }
    void show();

    // Takes part in the window's events: the server's answers, and what has to be drawn again.
    void handle(const XEvent& event);

private:
    void sendNext();
    bool startNewest();
    bool isSent(size_t row) const;
    size_t takeChanged(size_t* firstRow);
    void sendRows(size_t firstRow, size_t count);
    void showSent();
    void awaitAnswer();

    Display* connection;
    Window window;
    XVisualInfo visual;
    size_t width, height;
    Atom answerProperty;
    Pixmap pixmap;
    GC context;
    uint32_t opaqueBits;  // all that are no colour's

    SurfacePixels newest;
    bool isNewestSent = true;
    std::vector<uint32_t> underWay;  // the frame that is being sent, top row first
    size_t rowsTaken;                // of that frame, from the top: the pixmap has them
    std::vector<uint32_t> sent;      // what the pixmap has
    bool isShown = true;             // the window has what the pixmap has
    bool isAnswered = true;          // the server has taken everything so far
};
