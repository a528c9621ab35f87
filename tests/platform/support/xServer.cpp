#include "platform/support/xServer.h"

#include <X11/Xatom.h>
#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <signal.h>
#include <unistd.h>

#include <chrono>
#include <stdexcept>

namespace {

// Only for what hangs; no test is decided by it.
constexpr std::chrono::seconds kHangTime{60};

// The highest bit of the mask is the highest of the eight.
uint8_t channel(unsigned long pixel, unsigned long mask) {
    const auto bits = static_cast<uint32_t>(mask);
    const int aboveByte = 24 - __builtin_clz(bits);
    const uint32_t value = static_cast<uint32_t>(pixel) & bits;
    return static_cast<uint8_t>(aboveByte >= 0 ? value >> aboveByte : value << -aboveByte);
}

}  // namespace

struct XServer::Client {
    explicit Client(const std::string& name) : display(XOpenDisplay(name.c_str())) {
        if (!display)
            throw std::runtime_error("the X server started and takes no client");
    }
    ~Client() {
        if (display)
            XCloseDisplay(display);
    }
    Atom atom(const char* text) const { return XInternAtom(display, text, False); }

    Display* display;
};

XServer::XServer() = default;

XServer::~XServer() {
    if (client)
        goOn();  // leaving it takes its answer
    client.reset();
}

std::unique_ptr<XServer> XServer::start(int width, int height, int depth,
                                        const std::vector<std::string>& options) {
    int ends[2];
    if (pipe(ends) != 0)
        throw std::runtime_error("no pipe");
    FileDescriptor reader(ends[0]), writer(ends[1]);
    const std::string mode =
        std::to_string(width) + "x" + std::to_string(height) + "x" + std::to_string(depth);
    std::vector<std::string> command{"Xvfb",      "-displayfd", std::to_string(writer.get()),
                                     "-screen",   "0",          mode,
                                     "-nolisten", "tcp",        "-noreset"};
    command.insert(command.end(), options.begin(), options.end());
    std::unique_ptr<XServer> made(new XServer);
    made->server =
        std::make_unique<ChildProcess>(command, std::vector<std::string>{}, writer.get());
    writer.reset();
    std::string unread;
    const std::string number = readLineFrom(reader.get(), &unread);
    if (number.empty())
        return nullptr;
    made->name = ":" + number;
    made->client = std::make_unique<Client>(made->name);
    return made;
}

void XServer::kill() {
    client.reset();
    server->kill(SIGKILL);
    server->wait();
}

void XServer::stop() {
    // Not in the middle of what a client has sent.
    XSync(client->display, False);
    server->kill(SIGSTOP);
}

void XServer::goOn() {
    server->kill(SIGCONT);
}

uint32_t XServer::onlyWindow() const {
    Window root = 0, parent = 0, *children = nullptr;
    unsigned count = 0;
    XQueryTree(client->display, DefaultRootWindow(client->display), &root, &parent, &children,
               &count);
    const Window window = count == 1 ? children[0] : 0;
    XFree(children);
    return static_cast<uint32_t>(window);
}

DecodedPicture XServer::picture(uint32_t window) const {
    XWindowAttributes attributes{};
    XGetWindowAttributes(client->display, window, &attributes);
    const auto width = static_cast<unsigned>(attributes.width);
    const auto height = static_cast<unsigned>(attributes.height);
    XImage* image = XGetImage(client->display, window, 0, 0, width, height, AllPlanes, ZPixmap);
    DecodedPicture picture{width, height, {}};
    for (unsigned y = 0; y < height; ++y) {
        for (unsigned x = 0; x < width; ++x) {
            const unsigned long pixel = XGetPixel(image, static_cast<int>(x), static_cast<int>(y));
            for (const unsigned long mask : {image->red_mask, image->green_mask, image->blue_mask})
                picture.rgba.push_back(channel(pixel, mask));
            picture.rgba.push_back(255);
        }
    }
    XDestroyImage(image);
    return picture;
}

bool XServer::comesToShow(uint32_t window, const DecodedPicture& expected) const {
    const auto end = std::chrono::steady_clock::now() + kHangTime;
    while (std::chrono::steady_clock::now() < end) {
        if (picture(window).rgba == expected.rgba)
            return true;
    }
    return false;
}

std::string XServer::caption(uint32_t window) const {
    char* text = nullptr;
    if (!XFetchName(client->display, window, &text))
        return "";
    const std::string caption = text;
    XFree(text);
    return caption;
}

std::vector<long> XServer::property(uint32_t window, const char* property,
                                    unsigned long type) const {
    Atom actualType = 0;
    int format = 0;
    unsigned long count = 0, left = 0;
    unsigned char* data = nullptr;
    XGetWindowProperty(client->display, window, client->atom(property), 0, 16, False, type,
                       &actualType, &format, &count, &left, &data);
    const auto* values = reinterpret_cast<const long*>(data);
    const std::vector<long> copied(values, values + count);
    XFree(data);
    return copied;
}

bool XServer::wantsFullScreen(uint32_t window) const {
    return property(window, "_NET_WM_STATE", XA_ATOM) ==
           std::vector<long>{static_cast<long>(client->atom("_NET_WM_STATE_FULLSCREEN"))};
}

std::vector<long> XServer::opaqueRegion(uint32_t window) const {
    return property(window, "_NET_WM_OPAQUE_REGION", XA_CARDINAL);
}

void XServer::manage() const {
    XSelectInput(client->display, DefaultRootWindow(client->display), SubstructureRedirectMask);
    XSync(client->display, False);
}

uint32_t XServer::awaitMapRequest() const {
    for (;;) {
        XEvent event;
        XNextEvent(client->display, &event);
        if (event.type == MapRequest)
            return static_cast<uint32_t>(event.xmaprequest.window);
    }
}

void XServer::mapWithSize(uint32_t window, unsigned width, unsigned height) const {
    XResizeWindow(client->display, window, width, height);
    XMapWindow(client->display, window);
    XFlush(client->display);
}

void XServer::coverForAMoment() const {
    const int screen = DefaultScreen(client->display);
    XSetWindowAttributes attributes{};
    attributes.override_redirect = True;
    attributes.background_pixel = WhitePixel(client->display, screen);
    const Window cover = XCreateWindow(
        client->display, RootWindow(client->display, screen), 0, 0,
        static_cast<unsigned>(DisplayWidth(client->display, screen)),
        static_cast<unsigned>(DisplayHeight(client->display, screen)), 0, CopyFromParent,
        InputOutput, CopyFromParent, CWOverrideRedirect | CWBackPixel, &attributes);
    XMapRaised(client->display, cover);
    XSync(client->display, False);
    XDestroyWindow(client->display, cover);
    XSync(client->display, False);
}

void XServer::closeByUser(uint32_t window) const {
    XEvent event{};
    event.xclient.type = ClientMessage;
    event.xclient.window = window;
    event.xclient.message_type = client->atom("WM_PROTOCOLS");
    event.xclient.format = 32;
    event.xclient.data.l[0] = static_cast<long>(client->atom("WM_DELETE_WINDOW"));
    XSendEvent(client->display, window, False, NoEventMask, &event);
    XFlush(client->display);
}

void XServer::destroy(uint32_t window) const {
    XDestroyWindow(client->display, window);
    XFlush(client->display);
}

void XServer::killClientOf(uint32_t window) const {
    XKillClient(client->display, window);
    XFlush(client->display);
}

void XServer::freePixmapsOfClient(uint32_t window) const {
    // Resources of other kinds are refused.
    const auto handler = XSetErrorHandler([](Display*, XErrorEvent*) { return 0; });
    const uint32_t first = window & ~uint32_t{0x1fffff};
    for (uint32_t id = first; id < first + 64; ++id)
        XFreePixmap(client->display, id);
    XSync(client->display, False);
    XSetErrorHandler(handler);
}
