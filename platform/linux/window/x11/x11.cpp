#include "window/x11/x11.h"

#include <poll.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <optional>

#include "dispatch/eventLoop.h"
#include "report/layerError.h"
#include "window/x11/x11Frames.h"
#include "window/x11/x11PixelFormat.h"
#include "window/x11/x11Server.h"
#include "window/x11/x11Window.h"

namespace {

// Long enough for any window manager; one that keeps the window hidden is not waited for.
constexpr std::chrono::seconds kMapPatience{5};

struct State {
    std::optional<X11Server> server;
    bool isFullScreen = true;
    PixelSize displaySize{};
    X11Atoms atoms{};
    xcb_window_t window = XCB_NONE;
    bool isMapped = false;
    std::optional<X11Frames> frames;

    xcb_connection_t* connection() const { return server->connection.get(); }
};

// Never freed: what ends the process may be one of its own events.
State& x11() {
    static auto* const state = new State;
    return *state;
}

[[noreturn]] void endOnLostConnection() {
    layerError("x11: the connection to the X server is lost");
    std::exit(EXIT_FAILURE);
}

[[noreturn]] void endWithoutWindow() {
    layerError("x11: the window was destroyed from outside");
    std::exit(EXIT_FAILURE);
}

[[noreturn]] void endOnServerError(const xcb_generic_error_t& error) {
    layerError("x11: the X server refused request %d.%d with error %d", error.major_code,
               error.minor_code, error.error_code);
    std::exit(EXIT_FAILURE);
}

bool isCloseByUser(const xcb_client_message_event_t& message) {
    return message.type == x11().atoms.wmProtocols &&
           message.data.data32[0] == x11().atoms.wmDeleteWindow;
}

void handle(const xcb_generic_event_t& event) {
    constexpr uint8_t kSentByAClient = 0x80;
    switch (event.response_type & ~kSentByAClient) {
        case 0: endOnServerError(reinterpret_cast<const xcb_generic_error_t&>(event));
        case XCB_MAP_NOTIFY: x11().isMapped = true; break;
        case XCB_DESTROY_NOTIFY: endWithoutWindow();
        case XCB_CLIENT_MESSAGE:
            if (isCloseByUser(reinterpret_cast<const xcb_client_message_event_t&>(event)))
                std::exit(EXIT_SUCCESS);
            break;
        default:
            if (x11().frames)
                x11().frames->handle(event);
            break;
    }
}

void handleEvents(void*) {
    xcb_connection_t* const connection = x11().connection();
    while (const X11Message<xcb_generic_event_t> event{xcb_poll_for_event(connection)})
        handle(*event);
    if (xcb_connection_has_error(connection))
        endOnLostConnection();
}

bool connect() {
    if (!x11().server)
        x11().server = connectToX11Server();
    return x11().server.has_value();
}

bool isPresent() {
    const char* const name = std::getenv("DISPLAY");
    return name && *name && connect();
}

std::optional<PixelSize> open(const std::string& argument) {
    const std::optional<PixelSize> size = parsePixelSize(argument);
    if (!argument.empty() && !size) {
        layerError("VELKARIS_WINDOW: x11:%s is no size; write x11 or x11:WIDTHxHEIGHT",
                   argument.c_str());
        return std::nullopt;
    }
    if (!connect())
        return std::nullopt;
    // Writing to a lost connection would end the process without a word.
    std::signal(SIGPIPE, SIG_IGN);
    const xcb_screen_t& screen = *x11().server->screen;
    x11().isFullScreen = !size;
    x11().displaySize = size.value_or(PixelSize{screen.width_in_pixels, screen.height_in_pixels});
    return x11().displaySize;
}

// Pictures take their size before the first one is drawn, so the window must have its own by then.
void waitUntilMapped() {
    using Clock = std::chrono::steady_clock;
    const Clock::time_point end = Clock::now() + kMapPatience;
    xcb_flush(x11().connection());
    for (handleEvents(nullptr); !x11().isMapped; handleEvents(nullptr)) {
        const auto left =
            std::chrono::duration_cast<std::chrono::milliseconds>(end - Clock::now()).count();
        if (left <= 0) {
            layerError("x11: the window is not shown yet; going on without waiting");
            return;
        }
        pollfd events{xcb_get_file_descriptor(x11().connection()), POLLIN, 0};
        poll(&events, 1, static_cast<int>(left));
    }
}

// What the window manager has made of it.
PixelSize readWindowSize() {
    xcb_connection_t* const connection = x11().connection();
    const X11Message<xcb_get_geometry_reply_t> geometry(
        xcb_get_geometry_reply(connection, xcb_get_geometry(connection, x11().window), nullptr));
    if (!geometry) {
        handleEvents(nullptr);
        endWithoutWindow();
    }
    return {geometry->width, geometry->height};
}

std::optional<PixelSize> realize(const WindowRequest& request) {
    State& state = x11();
    xcb_connection_t* const connection = state.connection();
    const std::optional<X11PixelFormat> format =
        chooseX11PixelFormat(*xcb_get_setup(connection), *state.server->screen);
    if (!format) {
        layerError("x11: the X server has no true-colour visual of 15, 16, 24 or 32 bits");
        return std::nullopt;
    }
    WindowRequest sized = request;
    if (request.size.width <= 0 || state.isFullScreen)
        sized.size = state.displaySize;
    state.atoms = readX11Atoms(connection);
    state.window = createX11Window(*state.server, state.atoms, *format, sized, state.isFullScreen);
    const uint32_t above = XCB_STACK_MODE_ABOVE;
    xcb_configure_window(connection, state.window, XCB_CONFIG_WINDOW_STACK_MODE, &above);
    xcb_map_window(connection, state.window);
    waitUntilMapped();
    const PixelSize size = readWindowSize();
    state.frames.emplace(connection, state.window, *format, size);
    if (!eventLoopWatch(xcb_get_file_descriptor(connection), handleEvents, nullptr)) {
        layerError("x11: can't watch the connection to the X server, error %d", errno);
        return std::nullopt;
    }
    handleEvents(nullptr);  // those that came with the answers
    return size;
}

void present(const Picture& picture) {
    x11().frames->show(picture);
    // What was sent may have brought events into the queue, and nothing becomes readable for them.
    handleEvents(nullptr);
}

}  // namespace

const Window kX11Window = {"x11", false, isPresent, open, realize, present};
