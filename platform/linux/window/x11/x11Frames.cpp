#include "kd/windows/x11Frames.h"

#include <X11/Xatom.h>
#include <sys/socket.h>

#include <algorithm>

namespace {

constexpr size_t kBytesPerPixel = 4;

// More only where a single row has more. Before each write Xlib waits until the socket says that it
// has room, and local ones say so below a quarter of what they hold, which is some 200 kB.
constexpr size_t kPieceBytes = 16384;
constexpr int kPiecesHeld = 8;

uint32_t allColours(const XVisualInfo& visual) {
    return static_cast<uint32_t>(visual.red_mask | visual.green_mask | visual.blue_mask);
}

// The lowest bit of a channel of eight.
unsigned shiftOf(unsigned long mask) {
    unsigned shift = 0;
    while (shift < 24 && !(mask >> shift & 1))
        ++shift;
    return shift;
}

// For rows larger than a piece; the kernel grants what it likes.
void enlargeBuffer(int socket, size_t rowBytes) {
    const int wanted = static_cast<int>(std::max(rowBytes, kPieceBytes)) * kPiecesHeld;
    int held = 0;
    socklen_t length = sizeof held;
    if (getsockopt(socket, SOL_SOCKET, SO_SNDBUF, &held, &length) == 0 && held < wanted)
        setsockopt(socket, SOL_SOCKET, SO_SNDBUF, &wanted, sizeof wanted);
}

}  // namespace

X11Frames::X11Frames(Display* server, Window target, const XVisualInfo& visualInfo,
                     const DisplaySize& size)
    : connection(server),
      window(target),
      visual(visualInfo),
      width(static_cast<size_t>(size.width)),
      height(static_cast<size_t>(size.height)),
      answerProperty(XInternAtom(connection, "_VELKARIS_FRAME", False)),
      pixmap(XCreatePixmap(connection, window, static_cast<unsigned>(size.width),
                           static_cast<unsigned>(size.height),
                           static_cast<unsigned>(visual.depth))),
      context(XCreateGC(connection, pixmap, 0, nullptr)),
      opaqueBits(~allColours(visual)),
      rowsTaken(height),
      sent(width * height, opaqueBits) {
    enlargeBuffer(ConnectionNumber(connection), width * kBytesPerPixel);
    XSetGraphicsExposures(connection, context, False);
    XSetForeground(connection, context, opaqueBits);
    XFillRectangle(connection, pixmap, context, 0, 0, static_cast<unsigned>(size.width),
                   static_cast<unsigned>(size.height));
}

void X11Frames::show() {
    isNewestSent = false;
    if (isAnswered)
        sendNext();
}

void X11Frames::handle(const XEvent& event) {
    if (event.type == Expose) {
        isShown = false;
    } else if (event.type == PropertyNotify && event.xproperty.atom == answerProperty) {
        isAnswered = true;
    }
    if (isAnswered)
        sendNext();
}

void X11Frames::sendNext() {
    size_t firstRow = 0;
    size_t count = takeChanged(&firstRow);
    // A frame is shown in full before a newer one is begun, however slow the connection is.
    if (count == 0 && isShown && startNewest())
        count = takeChanged(&firstRow);
    if (count > 0)
        sendRows(firstRow, count);
    else if (!isShown)
        showSent();
}

bool X11Frames::startNewest() {
    if (isNewestSent)
        return false;
    isNewestSent = true;
    rowsTaken = 0;
    const unsigned red = shiftOf(visual.red_mask), green = shiftOf(visual.green_mask),
                   blue = shiftOf(visual.blue_mask);
    underWay.resize(width * height);
    for (size_t row = 0; row < height; ++row) {
        const uint8_t* from = newest.rgba.data() + (height - 1 - row) * width * kBytesPerPixel;
        for (size_t column = 0; column < width; ++column, from += kBytesPerPixel)
            underWay[row * width + column] = opaqueBits | static_cast<uint32_t>(from[0]) << red |
                                             static_cast<uint32_t>(from[1]) << green |
                                             static_cast<uint32_t>(from[2]) << blue;
    }
    return true;
}

bool X11Frames::isSent(size_t row) const {
    const auto start = static_cast<std::ptrdiff_t>(row * width);
    return std::equal(underWay.begin() + start,
                      underWay.begin() + start + static_cast<std::ptrdiff_t>(width),
                      sent.begin() + start);
}

// The number of rows from *firstRow on that make the next piece; 0 when all have been sent.
size_t X11Frames::takeChanged(size_t* firstRow) {
    while (rowsTaken < height && isSent(rowsTaken))
        ++rowsTaken;
    *firstRow = rowsTaken;
    const size_t most = std::max<size_t>(1, kPieceBytes / (width * kBytesPerPixel));
    const size_t end = std::min(height, *firstRow + most);
    while (rowsTaken < end && !isSent(rowsTaken))
        ++rowsTaken;
    return rowsTaken - *firstRow;
}

void X11Frames::sendRows(size_t firstRow, size_t count) {
    const auto start = static_cast<std::ptrdiff_t>(firstRow * width);
    const auto end = start + static_cast<std::ptrdiff_t>(count * width);
    std::copy(underWay.begin() + start, underWay.begin() + end, sent.begin() + start);

    // Xlib turns it into what the server takes.
    const uint16_t probe = 1;
    XImage image{};
    image.width = static_cast<int>(width);
    image.height = static_cast<int>(count);
    image.format = ZPixmap;
    image.data = reinterpret_cast<char*>(sent.data() + start);
    image.byte_order = *reinterpret_cast<const uint8_t*>(&probe) == 1 ? LSBFirst : MSBFirst;
    image.bitmap_unit = image.bitmap_pad = image.bits_per_pixel = 8 * kBytesPerPixel;
    image.bitmap_bit_order = image.byte_order;
    image.depth = visual.depth;
    image.bytes_per_line = static_cast<int>(width * kBytesPerPixel);
    XInitImage(&image);
    XPutImage(connection, pixmap, context, &image, 0, 0, 0, static_cast<int>(firstRow),
              static_cast<unsigned>(width), static_cast<unsigned>(count));
    isShown = false;
    awaitAnswer();
}

void X11Frames::showSent() {
    XCopyArea(connection, pixmap, window, context, 0, 0, static_cast<unsigned>(width),
              static_cast<unsigned>(height), 0, 0);
    isShown = true;
    awaitAnswer();
}

// Touching a property is what the server tells, once it has come so far. Nothing is added to it.
void X11Frames::awaitAnswer() {
    const unsigned char nothing = 0;
    XChangeProperty(connection, window, answerProperty, XA_STRING, 8, PropModeAppend, &nothing, 0);
    XFlush(connection);
    isAnswered = false;
}
