#include "window/wayland/waylandConnection.h"

#include <poll.h>
#include <wayland-client.h>

#include <cerrno>
#include <chrono>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>

#include "report/layerError.h"

namespace {

// Long enough for a compositor that starts together with the console on a slow device.
constexpr std::chrono::seconds kPatience{10};

wl_display* connection = nullptr;

// What the library said last: if the compositor has ended the connection, the reason. Printed when
// the loss is noticed.
char lastComplaint[256] = "";

[[gnu::format(printf, 1, 0)]] void keepComplaint(const char* format, va_list arguments) {
    std::vsnprintf(lastComplaint, sizeof lastComplaint, format, arguments);
    for (char& c : lastComplaint) {
        if (c == '\n')
            c = '\0';
    }
}

[[noreturn]] void endOnLostConnection() {
    if (wl_display_get_error(connection) == EPROTO)
        layerError("wayland: the compositor refused a request: %s", lastComplaint);
    else
        layerError("wayland: the connection to the compositor is lost");
    std::exit(EXIT_FAILURE);
}

void dispatchPending() {
    if (wl_display_dispatch_pending(connection) < 0)
        endOnLostConnection();
}

// Waits at most so many milliseconds for something to read.
void readAndDispatch(int milliseconds) {
    while (wl_display_prepare_read(connection) != 0)
        dispatchPending();
    waylandSend();
    pollfd events{wl_display_get_fd(connection), POLLIN, 0};
    if (poll(&events, 1, milliseconds) <= 0)
        wl_display_cancel_read(connection);
    else if (wl_display_read_events(connection) != 0)
        endOnLostConnection();
    dispatchPending();
}

}  // namespace

wl_display* waylandConnect() {
    if (!connection) {
        wl_log_set_handler_client(keepComplaint);
        connection = wl_display_connect(nullptr);
    }
    return connection;
}

std::string waylandName() {
    const char* name = std::getenv("WAYLAND_DISPLAY");
    return name && *name ? name : "wayland-0";
}

void waylandServe() {
    readAndDispatch(0);
}

void waylandSend() {
    // A broken connection shows when it is read.
    wl_display_flush(connection);
}

bool waylandServeUntil(const bool* reached) {
    using Clock = std::chrono::steady_clock;
    const Clock::time_point end = Clock::now() + kPatience;
    while (!*reached) {
        const auto left =
            std::chrono::duration_cast<std::chrono::milliseconds>(end - Clock::now()).count();
        if (left <= 0)
            return false;
        readAndDispatch(static_cast<int>(left));
    }
    return true;
}
