// A Wayland compositor that shows nothing and does what it is told on standard input, in the order
// of the lines. For tests of what the compositors that people use do rarely or never.
//
//     configure WIDTH HEIGHT STATE...   STATE: fullscreen, maximized; at once, or to the next
//     window ping SERIAL                       asks the console whether it is alive close as a user
//     closes the window hold                              frames stay unshown from now on show
//     shows what is held, and every later frame at once refuse                            ends the
//     connection with an error of the protocol pixel X Y                         answers "pixel R G
//     B A" of the newest frame
//
// Reports what the console does, a line each: "title T", "app T", "full screen", "least W H",
// "most W H", "opaque X Y W H", "scale N", "geometry X Y W H", "acknowledged N", "pong N",
// "pointer hidden", "frame WxH". The first line is "ready".
//
// Arguments: its socket's name in XDG_RUNTIME_DIR, then the display's WIDTH HEIGHT SCALE TRANSFORM,
// 0 0 1 0 for none, then "noshell" if it is to offer no windows.
#include <unistd.h>
#include <wayland-server.h>
#include <xdg-shell-server-protocol.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <string>
#include <vector>

namespace {

struct Configure {
    int width = 0;
    int height = 0;
    std::vector<uint32_t> states;
};

wl_display* display;
wl_resource* surfaceOfWindow;
wl_resource* shell;
wl_resource* shellSurface;
wl_resource* toplevel;
wl_resource* pointer;
wl_resource* attached;
std::vector<wl_resource*> frameCallbacks;
std::map<wl_resource*, std::array<int, 4>> regions;
Configure nextConfigure;
bool isConfigured;
bool holdsFrames;
int frameWidth, frameHeight;
std::vector<uint8_t> frame;  // B, G, R, A
int outputMode[4];           // width, height, scale, transform

void destroy(wl_client*, wl_resource* resource) {
    wl_resource_destroy(resource);
}

template <typename... Arguments>
void ignore(wl_client*, wl_resource*, Arguments...) {}

wl_resource* add(wl_client* client, const wl_interface* interface, wl_resource* parent, uint32_t id,
                 const void* calls) {
    wl_resource* resource =
        wl_resource_create(client, interface, wl_resource_get_version(parent), id);
    wl_resource_set_implementation(resource, calls, nullptr, nullptr);
    return resource;
}

void sendConfigure() {
    wl_array states;
    wl_array_init(&states);
    for (const uint32_t state : nextConfigure.states)
        *static_cast<uint32_t*>(wl_array_add(&states, sizeof state)) = state;
    xdg_toplevel_send_configure(toplevel, nextConfigure.width, nextConfigure.height, &states);
    xdg_surface_send_configure(shellSurface, wl_display_next_serial(display));
    wl_array_release(&states);
    isConfigured = true;
}

void showFrames() {
    for (wl_resource* callback : frameCallbacks) {
        wl_callback_send_done(callback, 0);
        wl_resource_destroy(callback);
    }
    frameCallbacks.clear();
}

void takeFrame() {
    wl_shm_buffer* buffer = wl_shm_buffer_get(attached);
    frameWidth = wl_shm_buffer_get_width(buffer);
    frameHeight = wl_shm_buffer_get_height(buffer);
    wl_shm_buffer_begin_access(buffer);
    const auto* first = static_cast<const uint8_t*>(wl_shm_buffer_get_data(buffer));
    frame.assign(first, first + wl_shm_buffer_get_stride(buffer) * frameHeight);
    wl_shm_buffer_end_access(buffer);
    wl_buffer_send_release(attached);
    attached = nullptr;
    std::printf("frame %dx%d\n", frameWidth, frameHeight);
}

void commit(wl_client*, wl_resource* surface) {
    surfaceOfWindow = surface;
    if (toplevel && !isConfigured && nextConfigure.width >= 0)
        sendConfigure();
    if (!attached)
        return;
    takeFrame();
    if (pointer)
        wl_pointer_send_enter(pointer, 1, surface, 0, 0);
    if (!holdsFrames)
        showFrames();
}

void attach(wl_client*, wl_resource*, wl_resource* buffer, int32_t, int32_t) {
    attached = buffer;
}

void addFrameCallback(wl_client* client, wl_resource* surface, uint32_t id) {
    frameCallbacks.push_back(add(client, &wl_callback_interface, surface, id, nullptr));
}

void reportOpaque(wl_client*, wl_resource*, wl_resource* region) {
    const std::array<int, 4>& area = regions[region];
    std::printf("opaque %d %d %d %d\n", area[0], area[1], area[2], area[3]);
}

void reportScale(wl_client*, wl_resource*, int32_t scale) {
    std::printf("scale %d\n", scale);
}

const struct wl_surface_interface kSurfaceCalls = [] {
    struct wl_surface_interface calls {};
    calls.destroy = destroy;
    calls.attach = attach;
    calls.damage = ignore<int32_t, int32_t, int32_t, int32_t>;
    calls.frame = addFrameCallback;
    calls.set_opaque_region = reportOpaque;
    calls.set_input_region = ignore<wl_resource*>;
    calls.commit = commit;
    calls.set_buffer_transform = ignore<int32_t>;
    calls.set_buffer_scale = reportScale;
    calls.damage_buffer = ignore<int32_t, int32_t, int32_t, int32_t>;
    return calls;
}();

void keepArea(wl_client*, wl_resource* region, int32_t x, int32_t y, int32_t w, int32_t h) {
    regions[region] = {x, y, w, h};
}

const struct wl_region_interface kRegionCalls = {
    destroy,
    keepArea,
    ignore<int32_t, int32_t, int32_t, int32_t>,
};

void createSurface(wl_client* client, wl_resource* compositor, uint32_t id) {
    add(client, &wl_surface_interface, compositor, id, &kSurfaceCalls);
}

void createRegion(wl_client* client, wl_resource* compositor, uint32_t id) {
    add(client, &wl_region_interface, compositor, id, &kRegionCalls);
}

const struct wl_compositor_interface kCompositorCalls = {createSurface, createRegion};

const struct xdg_toplevel_interface kToplevelCalls = [] {
    struct xdg_toplevel_interface calls {};
    calls.destroy = destroy;
    calls.set_title = [](wl_client*, wl_resource*, const char* t) { std::printf("title %s\n", t); };
    calls.set_app_id = [](wl_client*, wl_resource*, const char* t) { std::printf("app %s\n", t); };
    calls.set_min_size = [](wl_client*, wl_resource*, int32_t width, int32_t height) {
        std::printf("least %d %d\n", width, height);
    };
    calls.set_max_size = [](wl_client*, wl_resource*, int32_t width, int32_t height) {
        std::printf("most %d %d\n", width, height);
    };
    calls.set_fullscreen = [](wl_client*, wl_resource*, wl_resource*) { std::puts("full screen"); };
    return calls;
}();

void getToplevel(wl_client* client, wl_resource* parent, uint32_t id) {
    toplevel = add(client, &xdg_toplevel_interface, parent, id, &kToplevelCalls);
}

void reportGeometry(wl_client*, wl_resource*, int32_t x, int32_t y, int32_t w, int32_t h) {
    std::printf("geometry %d %d %d %d\n", x, y, w, h);
}

const struct xdg_surface_interface kShellSurfaceCalls = [] {
    struct xdg_surface_interface calls {};
    calls.destroy = destroy;
    calls.get_toplevel = getToplevel;
    calls.set_window_geometry = reportGeometry;
    calls.ack_configure = [](wl_client*, wl_resource*, uint32_t) { std::puts("acknowledged"); };
    return calls;
}();

void getShellSurface(wl_client* client, wl_resource* parent, uint32_t id, wl_resource*) {
    shellSurface = add(client, &xdg_surface_interface, parent, id, &kShellSurfaceCalls);
}

const struct xdg_wm_base_interface kShellCalls = [] {
    struct xdg_wm_base_interface calls {};
    calls.destroy = destroy;
    calls.get_xdg_surface = getShellSurface;
    calls.pong = [](wl_client*, wl_resource*, uint32_t serial) {
        std::printf("pong %u\n", serial);
    };
    return calls;
}();

const struct wl_pointer_interface kPointerCalls = {
    [](wl_client*, wl_resource*, uint32_t, wl_resource* shape, int32_t, int32_t) {
        std::puts(shape ? "pointer shown" : "pointer hidden");
    },
    destroy,
};

const struct wl_seat_interface kSeatCalls = [] {
    struct wl_seat_interface calls {};
    calls.get_pointer = [](wl_client* client, wl_resource* seat, uint32_t id) {
        pointer = add(client, &wl_pointer_interface, seat, id, &kPointerCalls);
    };
    return calls;
}();

wl_resource* bind(wl_client* client, const wl_interface* interface, uint32_t version, uint32_t id,
                  const void* calls) {
    wl_resource* resource = wl_resource_create(client, interface, static_cast<int>(version), id);
    wl_resource_set_implementation(resource, calls, nullptr, nullptr);
    return resource;
}

void bindCompositor(wl_client* client, void*, uint32_t version, uint32_t id) {
    bind(client, &wl_compositor_interface, version, id, &kCompositorCalls);
}

void bindShell(wl_client* client, void*, uint32_t version, uint32_t id) {
    shell = bind(client, &xdg_wm_base_interface, version, id, &kShellCalls);
}

void bindSeat(wl_client* client, void*, uint32_t version, uint32_t id) {
    wl_resource* seat = bind(client, &wl_seat_interface, version, id, &kSeatCalls);
    wl_seat_send_capabilities(seat, WL_SEAT_CAPABILITY_POINTER);
}

void bindOutput(wl_client* client, void*, uint32_t version, uint32_t id) {
    wl_resource* output = bind(client, &wl_output_interface, version, id, nullptr);
    wl_output_send_geometry(output, 0, 0, 0, 0, 0, "maker", "model", outputMode[3]);
    wl_output_send_mode(output, WL_OUTPUT_MODE_PREFERRED, 11, 22, 60000);
    wl_output_send_mode(output, WL_OUTPUT_MODE_CURRENT, outputMode[0], outputMode[1], 60000);
    wl_output_send_scale(output, outputMode[2]);
    wl_output_send_done(output);
}

Configure readConfigure(const std::string& line) {
    Configure read;
    std::sscanf(line.c_str(), "configure %d %d", &read.width, &read.height);
    if (line.find("fullscreen") != std::string::npos)
        read.states.push_back(XDG_TOPLEVEL_STATE_FULLSCREEN);
    if (line.find("maximized") != std::string::npos)
        read.states.push_back(XDG_TOPLEVEL_STATE_MAXIMIZED);
    return read;
}

void reportPixel(int x, int y) {
    const uint8_t* p = &frame.at(static_cast<size_t>(y * frameWidth + x) * 4);
    std::printf("pixel %d %d %d %d\n", p[2], p[1], p[0], p[3]);
}

void obey(const std::string& line) {
    int x = 0, y = 0;
    unsigned serial = 0;
    if (line.rfind("configure", 0) == 0) {
        nextConfigure = readConfigure(line);
        if (toplevel)
            sendConfigure();
    } else if (std::sscanf(line.c_str(), "ping %u", &serial) == 1) {
        xdg_wm_base_send_ping(shell, serial);
    } else if (line == "close") {
        xdg_toplevel_send_close(toplevel);
    } else if (line == "hold" || line == "show") {
        holdsFrames = line == "hold";
        if (!holdsFrames)
            showFrames();
    } else if (line == "refuse") {
        wl_resource_post_error(shellSurface, XDG_SURFACE_ERROR_UNCONFIGURED_BUFFER, "for a test");
    } else if (std::sscanf(line.c_str(), "pixel %d %d", &x, &y) == 2) {
        reportPixel(x, y);
    }
}

int readCommands(int fd, uint32_t, void*) {
    static std::string unread;
    char piece[1024];
    const ssize_t got = read(fd, piece, sizeof piece);
    if (got <= 0) {
        wl_display_terminate(display);
        return 0;
    }
    unread.append(piece, static_cast<size_t>(got));
    for (size_t end; (end = unread.find('\n')) != std::string::npos; unread.erase(0, end + 1))
        obey(unread.substr(0, end));
    return 0;
}

void offer(bool windows) {
    wl_display_init_shm(display);
    wl_global_create(display, &wl_compositor_interface, 4, nullptr, bindCompositor);
    wl_global_create(display, &wl_seat_interface, 1, nullptr, bindSeat);
    if (windows)
        wl_global_create(display, &xdg_wm_base_interface, 1, nullptr, bindShell);
    if (outputMode[0] > 0)
        wl_global_create(display, &wl_output_interface, 2, nullptr, bindOutput);
}

}  // namespace

int main(int argc, char** argv) {
    std::setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);
    if (argc < 6)
        return 2;
    for (int i = 0; i < 4; ++i)
        outputMode[i] = std::atoi(argv[2 + i]);
    display = wl_display_create();
    offer(argc < 7 || std::strcmp(argv[6], "noshell") != 0);
    if (wl_display_add_socket(display, argv[1]) != 0)
        return 3;
    wl_event_loop_add_fd(wl_display_get_event_loop(display), STDIN_FILENO, WL_EVENT_READABLE,
                         readCommands, nullptr);
    std::puts("ready");
    wl_display_run(display);
    return 0;
}
