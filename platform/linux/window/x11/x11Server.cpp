#include "window/x11/x11Server.h"

#include <signal.h>

#include <chrono>
#include <future>
#include <system_error>
#include <thread>
#include <utility>

#include "report/layerError.h"

namespace {

// Long enough for a server that starts together with the console on a slow device.
constexpr std::chrono::seconds kAnswerPatience{10};

X11Server connectWithoutPatience() {
    int number = 0;
    X11Server server{{xcb_connect(nullptr, &number), {}}, nullptr};
    if (xcb_connection_has_error(server.connection.get()))
        return server;
    xcb_screen_iterator_t screens =
        xcb_setup_roots_iterator(xcb_get_setup(server.connection.get()));
    for (; screens.rem > 0 && number > 0; --number)
        xcb_screen_next(&screens);
    server.screen = screens.rem > 0 ? screens.data : nullptr;
    return server;
}

// The library waits for the first answer as long as it takes. A thread of its own can be left
// behind; it drops the connection when the answer comes after all.
std::future<X11Server> startConnecting() {
    std::promise<X11Server> promise;
    std::future<X11Server> answer = promise.get_future();
    // Signals are for the thread that the loop runs in.
    sigset_t all, before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    try {
        std::thread([promise = std::move(promise)]() mutable {
            promise.set_value(connectWithoutPatience());
        }).detach();
    } catch (const std::system_error&) {
        answer = {};
    }
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    return answer;
}

}  // namespace

std::optional<X11Server> connectToX11Server() {
    const char* const variable = std::getenv("DISPLAY");
    const char* const name = variable ? variable : "";
    std::future<X11Server> answer = startConnecting();
    if (answer.valid() && answer.wait_for(kAnswerPatience) != std::future_status::ready) {
        layerError("x11: the X server \"%s\" does not answer", name);
        return std::nullopt;
    }
    X11Server server = answer.valid() ? answer.get() : connectWithoutPatience();
    if (!server.screen) {
        layerError("x11: can't connect to the X server \"%s\"", name);
        return std::nullopt;
    }
    return server;
}
