// A Wayland compositor that shows nothing and does what it is told on standard input, in the order
// of the lines. For tests of what the compositors that people use do rarely or never.
//
// - configure WIDTH HEIGHT STATE...   to the window that there is, else to the next; STATE:
//                                     fullscreen, maximized
// - ping SERIAL       asks the console whether it is alive
// - close             as a user closes the window
// - hold              frames stay unshown from now on
// - show              shows what is held, and every later frame at once
// - retain N          keeps the newest N buffers and releases the others; 0 at the start
// - refuse            ends the connection with an error of the protocol
// - pixel X Y         answers "pixel R G B" of what is shown
// - save FILE         writes R, G, B of all pixels that are shown, and answers "saved"
//
// It shows as many do: it keeps a picture of its own, into which it copies the parts of each frame
// that are declared damaged.
//
// Reports what the console does, a line each: "title T", "app T", "full screen", "least W H",
// "most W H", "scale N", "geometry X Y W H", "acknowledged", "pong N", "pointer hidden", "damage X
// Y W H" in pixels, "damage in units X Y W H", "committed" without a buffer. For each frame:
// "buffer N", which tells buffers apart, "not opaque" if it has alpha, "undamaged change" if what
// is shown is not the frame, and last "frame WxH". The first line of all is "ready".
//
// Arguments: its socket's name in XDG_RUNTIME_DIR, then the display's WIDTH HEIGHT SCALE TRANSFORM,
// 0 0 1 0 for none, then perhaps "noshell" or "noshm" if it is to offer no windows or no shared
// memory, or "version3" for a compositor that knows no damage in pixels.
#include <unistd.h>
#include <wayland-server.h>
#include <xdg-shell-server-protocol.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <fstream>
#include <string>
#include <utility>
#include <vector>

namespace {

struct Area {
    int x, y, width, height;
};

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
std::vector<Area> damaged;          // by the next frame, in pixels
std::deque<wl_resource*> retained;  // buffers, the oldest first
Configure nextConfigure;
bool isConfigured;
bool holdsFrames;
size_t retainedCount;
int surfaceScale = 1;
int frameWidth, frameHeight;
std::vector<uint32_t> shown;
int outputMode[4];  // width, height, scale, transform

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

void releaseBuffers() {
    for (; retained.size() > retainedCount; retained.pop_front())
        wl_buffer_send_release(retained.front());
}

void copyDamaged(const std::vector<uint32_t>& frame) {
    for (const Area& area : damaged) {
        const int right = std::min(area.x + area.width, frameWidth);
        const int bottom = std::min(area.y + area.height, frameHeight);
        for (int y = area.y; y < bottom; ++y) {
            const auto row = static_cast<long>(y) * frameWidth;
            std::copy(frame.begin() + row + area.x, frame.begin() + row + right,
                      shown.begin() + row + area.x);
        }
    }
    damaged.clear();
}

void takeFrame() {
    wl_shm_buffer* buffer = wl_shm_buffer_get(attached);
    frameWidth = wl_shm_buffer_get_width(buffer);
    frameHeight = wl_shm_buffer_get_height(buffer);
    const auto pixels = static_cast<size_t>(frameWidth) * static_cast<size_t>(frameHeight);
    wl_shm_buffer_begin_access(buffer);
    const auto* first = static_cast<const uint32_t*>(wl_shm_buffer_get_data(buffer));
    const std::vector<uint32_t> frame(first, first + pixels);
    wl_shm_buffer_end_access(buffer);
    shown.resize(pixels);
    copyDamaged(frame);

    std::printf("buffer %u\n", wl_resource_get_id(attached));
    if (wl_shm_buffer_get_format(buffer) != WL_SHM_FORMAT_XRGB8888)
        std::puts("not opaque");
    if (shown != frame)
        std::puts("undamaged change");
    std::printf("frame %dx%d\n", frameWidth, frameHeight);
    retained.push_back(std::exchange(attached, nullptr));
    releaseBuffers();
}

void commit(wl_client*, wl_resource* surface) {
    surfaceOfWindow = surface;
    if (toplevel && !isConfigured && nextConfigure.width >= 0)
        sendConfigure();
    if (!attached) {
        std::puts("committed");
        return;
    }
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

void reportScale(wl_client*, wl_resource*, int32_t scale) {
    surfaceScale = scale;
    std::printf("scale %d\n", scale);
}

void addDamage(wl_client*, wl_resource*, int32_t x, int32_t y, int32_t w, int32_t h) {
    std::printf("damage %d %d %d %d\n", x, y, w, h);
    damaged.push_back({x, y, w, h});
}

void addDamageInUnits(wl_client*, wl_resource*, int32_t x, int32_t y, int32_t w, int32_t h) {
    std::printf("damage in units %d %d %d %d\n", x, y, w, h);
    damaged.push_back({x * surfaceScale, y * surfaceScale, w * surfaceScale, h * surfaceScale});
}

const struct wl_surface_interface kSurfaceCalls = [] {
    struct wl_surface_interface calls {};
    calls.destroy = destroy;
    calls.attach = attach;
    calls.damage = addDamageInUnits;
    calls.frame = addFrameCallback;
    calls.set_opaque_region = ignore<wl_resource*>;
    calls.set_input_region = ignore<wl_resource*>;
    calls.commit = commit;
    calls.set_buffer_transform = ignore<int32_t>;
    calls.set_buffer_scale = reportScale;
    calls.damage_buffer = addDamage;
    return calls;
}();

const struct wl_region_interface kRegionCalls = {
    destroy,
    ignore<int32_t, int32_t, int32_t, int32_t>,
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

std::array<uint8_t, 3> channels(uint32_t pixel) {
    return {static_cast<uint8_t>(pixel >> 16), static_cast<uint8_t>(pixel >> 8),
            static_cast<uint8_t>(pixel)};
}

void reportPixel(int x, int y) {
    const auto rgb = channels(shown.at(static_cast<size_t>(y * frameWidth + x)));
    std::printf("pixel %d %d %d\n", rgb[0], rgb[1], rgb[2]);
}

void save(const std::string& path) {
    std::ofstream file(path, std::ios::binary);
    for (const uint32_t pixel : shown) {
        for (const uint8_t channel : channels(pixel))
            file.put(static_cast<char>(channel));
    }
    file.close();
    std::puts(file ? "saved" : "not saved");
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
    } else if (std::sscanf(line.c_str(), "retain %zu", &retainedCount) == 1) {
        releaseBuffers();
    } else if (line.rfind("save ", 0) == 0) {
        save(line.substr(std::strlen("save ")));
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

void offer(const std::string& exception) {
    constexpr int kVersionWithDamageInPixels = 4;
    const int version = exception == "version3" ? 3 : kVersionWithDamageInPixels;
    wl_global_create(display, &wl_compositor_interface, version, nullptr, bindCompositor);
    wl_global_create(display, &wl_seat_interface, 1, nullptr, bindSeat);
    if (exception != "noshm")
        wl_display_init_shm(display);
    if (exception != "noshell")
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
    offer(argc > 6 ? argv[6] : "");
    if (wl_display_add_socket(display, argv[1]) != 0)
        return 3;
    wl_event_loop_add_fd(wl_display_get_event_loop(display), STDIN_FILENO, WL_EVENT_READABLE,
                         readCommands, nullptr);
    std::puts("ready");
    wl_display_run(display);
    return 0;
}
