#include "kd/windows/x11.h"

#include <KD/kd.h>
#include <X11/Xatom.h>
#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdlib>

#include "dispatch/eventLoop.h"
#include "kd/windows/headless.h"
#include "kd/windows/offScreen.h"
#include "kd/windows/x11Frames.h"
#include "ownership/fileDescriptor.h"
#include "report/layerError.h"

namespace {

// Long enough for a server that starts together with the console on a slow device.
constexpr int kAnswerMilliseconds = 10000;

// Long enough for any window manager; one that keeps the window hidden is not waited for.
constexpr std::chrono::seconds kMapPatience{5};

// Drawn off screen and sent as pictures: the drivers' own way to a window asks the server for this
// and that while a frame is drawn, and waits for what it says.
Display* connection = nullptr;
Window window = 0;
Atom protocols = 0, deleteWindow = 0;
bool isMapped = false;
bool isFullScreen = true;
DisplaySize displaySize{};
DisplaySize windowSize{};         // what the window manager has made of it, until it is drawn on
std::optional<X11Frames> frames;  // from then on

int endOnLostConnection(Display*) {
    layerError("x11: the connection to the X server is lost");
    std::exit(EXIT_FAILURE);
}

[[noreturn]] void endWithoutWindow() {
    layerError("x11: the window was destroyed from outside");
    std::exit(EXIT_FAILURE);
}

int endOnServerError(Display* display, XErrorEvent* error) {
    // What was sent after that comes back, and is seen before the event that tells of it.
    if (window != 0 && error->resourceid == window &&
        (error->error_code == BadWindow || error->error_code == BadDrawable))
        endWithoutWindow();
    char text[128];
    XGetErrorText(display, error->error_code, text, sizeof text);
    layerError("x11: the X server refused request %d.%d: %s", error->request_code,
               error->minor_code, text);
    std::exit(EXIT_FAILURE);
}

enum class Answer { accepted, refused, none };

// Xlib waits for the first answer as long as it takes. A process of its own can be given up.
Answer askServer() {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0)
        return Answer::accepted;  // tried without
    const FileDescriptor reader(ends[0]);
    FileDescriptor writer(ends[1]);
    const pid_t child = fork();
    if (child == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        _exit(XOpenDisplay(nullptr) ? EXIT_SUCCESS : EXIT_FAILURE);
    }
    if (child < 0)
        return Answer::accepted;
    writer.reset();  // the last copy goes with the child
    pollfd end{reader.get(), POLLIN, 0};
    const bool hasEnded = poll(&end, 1, kAnswerMilliseconds) > 0;
    if (!hasEnded)
        kill(child, SIGKILL);
    int status = 0;
    waitpid(child, &status, 0);
    return !hasEnded ? Answer::none : status == 0 ? Answer::accepted : Answer::refused;
}

// Prints the failure.
bool connect() {
    if (connection)
        return true;
    const Answer answer = askServer();
    if (answer == Answer::none) {
        layerError("x11: the X server \"%s\" does not answer", XDisplayName(nullptr));
        return false;
    }
    if (answer == Answer::accepted)
        connection = XOpenDisplay(nullptr);
    if (!connection)
        layerError("x11: can't connect to the X server \"%s\"", XDisplayName(nullptr));
    return connection != nullptr;
}

bool isPresent() {
    const char* name = std::getenv("DISPLAY");
    return name && *name && connect();
}

std::optional<NativeDisplay> open(const std::string& argument) {
    const std::optional<DisplaySize> size = parseSize(argument);
    if (!argument.empty() && !size) {
        layerError("VELKARIS_WINDOW: x11:%s is no size; write x11 or x11:WIDTHxHEIGHT",
                   argument.c_str());
        return std::nullopt;
    }
    if (!connect())
        return std::nullopt;
    // Writing to a lost connection would end the process without a word.
    signal(SIGPIPE, SIG_IGN);
    XSetIOErrorHandler(endOnLostConnection);
    XSetErrorHandler(endOnServerError);
    const int screen = DefaultScreen(connection);
    isFullScreen = !size;
    displaySize = size.value_or(
        DisplaySize{DisplayWidth(connection, screen), DisplayHeight(connection, screen)});
    return openOffScreen(displaySize);
}

Atom atom(const char* name) {
    return XInternAtom(connection, name, False);
}

void handle(const XEvent& event) {
    switch (event.type) {
        case MapNotify: isMapped = true; break;
        case ConfigureNotify: windowSize = {event.xconfigure.width, event.xconfigure.height}; break;
        case ClientMessage:
            if (event.xclient.message_type == protocols &&
                static_cast<Atom>(event.xclient.data.l[0]) == deleteWindow)
                std::exit(EXIT_SUCCESS);
            break;
        case DestroyNotify: endWithoutWindow();
        default:
            if (frames)
                frames->handle(event);
            break;
    }
}

void handleEvents(void*) {
    while (XPending(connection) > 0) {
        XEvent event;
        XNextEvent(connection, &event);
        handle(event);
    }
}

// One of eight bits a colour; with 32 bits of depth the server may have it compose alpha as well.
std::optional<XVisualInfo> findVisual() {
    XVisualInfo found{};
    for (const int depth : {24, 32}) {
        if (XMatchVisualInfo(connection, DefaultScreen(connection), depth, TrueColor, &found))
            return found;
    }
    return std::nullopt;
}

void createWindow(const XVisualInfo& visual, const DisplaySize& size) {
    const Window root = RootWindow(connection, visual.screen);
    XSetWindowAttributes attributes{};
    // A visual other than the root's needs a colormap and a border of its own.
    attributes.colormap = XCreateColormap(connection, root, visual.visual, AllocNone);
    attributes.border_pixel = 0;
    attributes.background_pixel = BlackPixel(connection, visual.screen);
    attributes.event_mask = StructureNotifyMask | PropertyChangeMask | ExposureMask;
    window = XCreateWindow(connection, root, 0, 0, static_cast<unsigned>(size.width),
                           static_cast<unsigned>(size.height), 0, visual.depth, InputOutput,
                           visual.visual, CWColormap | CWBorderPixel | CWBackPixel | CWEventMask,
                           &attributes);
}

void setNames(const std::string& caption, const std::string& id) {
    XStoreName(connection, window, caption.c_str());
    XChangeProperty(connection, window, atom("_NET_WM_NAME"), atom("UTF8_STRING"), 8,
                    PropModeReplace, reinterpret_cast<const unsigned char*>(caption.data()),
                    static_cast<int>(caption.size()));
    std::string instance = id.empty() ? "velkaris" : id;
    char className[] = "Velkaris";
    XClassHint hint{instance.data(), className};
    XSetClassHint(connection, window, &hint);
    protocols = atom("WM_PROTOCOLS");
    deleteWindow = atom("WM_DELETE_WINDOW");
    XSetWMProtocols(connection, window, &deleteWindow, 1);
}

// A compositor need not draw what is below.
void declareOpaque(const DisplaySize& size) {
    const long area[4] = {0, 0, size.width, size.height};
    XChangeProperty(connection, window, atom("_NET_WM_OPAQUE_REGION"), XA_CARDINAL, 32,
                    PropModeReplace, reinterpret_cast<const unsigned char*>(area), 4);
}

void fixSize(const DisplaySize& size) {
    XSizeHints hints{};
    hints.flags = PMinSize | PMaxSize;
    hints.min_width = hints.max_width = size.width;
    hints.min_height = hints.max_height = size.height;
    XSetWMNormalHints(connection, window, &hints);
}

// The window has the root's size already, which is all there is to do without a window manager.
void fillScreen() {
    const Atom fullScreen = atom("_NET_WM_STATE_FULLSCREEN");
    XChangeProperty(connection, window, atom("_NET_WM_STATE"), XA_ATOM, 32, PropModeReplace,
                    reinterpret_cast<const unsigned char*>(&fullScreen), 1);
    const char noDots[1] = {0};
    XColor black{};
    const Pixmap empty = XCreateBitmapFromData(connection, window, noDots, 1, 1);
    const Cursor hidden = XCreatePixmapCursor(connection, empty, empty, &black, &black, 0, 0);
    XDefineCursor(connection, window, hidden);
    XFreeCursor(connection, hidden);
    XFreePixmap(connection, empty);
}

// The surface takes its size when it is made, so the window must have its own by then.
void waitUntilMapped() {
    using Clock = std::chrono::steady_clock;
    const Clock::time_point end = Clock::now() + kMapPatience;
    for (handleEvents(nullptr); !isMapped; handleEvents(nullptr)) {
        const auto left =
            std::chrono::duration_cast<std::chrono::milliseconds>(end - Clock::now()).count();
        if (left <= 0) {
            layerError("x11: the window is not shown yet; going on without waiting");
            return;
        }
        pollfd events{ConnectionNumber(connection), POLLIN, 0};
        poll(&events, 1, static_cast<int>(left));
    }
    XSync(connection, False);
}

int realize(const WindowRequest& request, EGLNativeWindowType* native) {
    const std::optional<XVisualInfo> visual = findVisual();
    if (!visual) {
        layerError("x11: the X server has no visual of eight bits a colour");
        return KD_EIO;
    }
    const bool asked = request.size.width > 0 && !isFullScreen;
    windowSize = asked ? request.size : displaySize;
    createWindow(*visual, windowSize);
    setNames(request.caption, request.id);
    declareOpaque(windowSize);
    isFullScreen ? fillScreen() : fixSize(windowSize);
    XMapRaised(connection, window);
    waitUntilMapped();
    if (!eventLoopWatch(ConnectionNumber(connection), handleEvents, nullptr)) {
        layerError("x11: can't watch the connection to the X server, error %d", errno);
        return KD_EIO;
    }
    *native = pbufferOf(windowSize);
    frames.emplace(connection, window, *visual, windowSize);
    return 0;
}

EGLSurface createSurface(EGLDisplay display, EGLConfig config, EGLNativeWindowType native,
                         const EGLint* attributes) {
    return kHeadlessBackend.createSurface(display, config, native, attributes);
}

void listen() {
    handleEvents(nullptr);
}

EGLBoolean present(EGLDisplay display, EGLSurface surface) {
    readSurfacePixels(display, surface, frames->pixels());
    const EGLBoolean swapped = kHeadlessBackend.present(display, surface);
    if (swapped == EGL_TRUE)
        frames->show();
    // What was sent may have brought events into the queue, and nothing becomes readable for them.
    handleEvents(nullptr);
    return swapped;
}

}  // namespace

const WindowBackend kX11Backend = {
    "x11", EGL_PBUFFER_BIT, isPresent, open, realize, createSurface, listen, present,
};
