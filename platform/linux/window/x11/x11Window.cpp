#include "window/x11/x11Window.h"

#include <string>

namespace {

// WM_NORMAL_HINTS: 18 values, told apart by the bits of the first.
constexpr size_t kSizeHints = 18;
constexpr uint32_t kHasMinimum = 1 << 4;
constexpr uint32_t kHasMaximum = 1 << 5;
constexpr size_t kMinimumSize = 5;
constexpr size_t kMaximumSize = 7;

struct Target {
    xcb_connection_t* connection;
    xcb_window_t window;

    void set(xcb_atom_t property, xcb_atom_t type, const std::string& text) const {
        xcb_change_property(connection, XCB_PROP_MODE_REPLACE, window, property, type, 8,
                            static_cast<uint32_t>(text.size()), text.data());
    }
    template <size_t count>
    void set(xcb_atom_t property, xcb_atom_t type, const uint32_t (&values)[count]) const {
        xcb_change_property(connection, XCB_PROP_MODE_REPLACE, window, property, type, 32, count,
                            values);
    }
};

void setNames(const Target& target, const X11Atoms& atoms, const WindowRequest& request) {
    target.set(XCB_ATOM_WM_NAME, XCB_ATOM_STRING, request.caption);
    target.set(atoms.netWmName, atoms.utf8String, request.caption);
    const std::string instance = request.id.empty() ? "velkaris" : request.id;
    const std::string ends(1, '\0');
    target.set(XCB_ATOM_WM_CLASS, XCB_ATOM_STRING, instance + ends + "Velkaris" + ends);
}

void fixSize(const Target& target, const PixelSize& size) {
    uint32_t hints[kSizeHints] = {kHasMinimum | kHasMaximum};
    hints[kMinimumSize] = hints[kMaximumSize] = static_cast<uint32_t>(size.width);
    hints[kMinimumSize + 1] = hints[kMaximumSize + 1] = static_cast<uint32_t>(size.height);
    target.set(XCB_ATOM_WM_NORMAL_HINTS, XCB_ATOM_WM_SIZE_HINTS, hints);
}

// A cursor of which no pixel is drawn.
void hidePointer(const Target& target) {
    xcb_connection_t* const connection = target.connection;
    const xcb_pixmap_t empty = xcb_generate_id(connection);
    const xcb_gcontext_t context = xcb_generate_id(connection);
    const xcb_cursor_t hidden = xcb_generate_id(connection);
    const uint32_t clear = 0;
    const xcb_rectangle_t all{0, 0, 1, 1};
    xcb_create_pixmap(connection, 1, empty, target.window, 1, 1);
    xcb_create_gc(connection, context, empty, XCB_GC_FOREGROUND, &clear);
    xcb_poly_fill_rectangle(connection, empty, context, 1, &all);
    xcb_create_cursor(connection, hidden, empty, empty, 0, 0, 0, 0, 0, 0, 0, 0);
    xcb_change_window_attributes(connection, target.window, XCB_CW_CURSOR, &hidden);
    xcb_free_cursor(connection, hidden);
    xcb_free_gc(connection, context);
    xcb_free_pixmap(connection, empty);
}

}  // namespace

X11Atoms readX11Atoms(xcb_connection_t* connection) {
    X11Atoms atoms{};
    struct {
        const char* name;
        xcb_atom_t* atom;
        xcb_intern_atom_cookie_t question;
    } wanted[] = {
        {"UTF8_STRING", &atoms.utf8String, {}},
        {"WM_PROTOCOLS", &atoms.wmProtocols, {}},
        {"WM_DELETE_WINDOW", &atoms.wmDeleteWindow, {}},
        {"_NET_WM_NAME", &atoms.netWmName, {}},
        {"_NET_WM_OPAQUE_REGION", &atoms.netWmOpaqueRegion, {}},
        {"_NET_WM_STATE", &atoms.netWmState, {}},
        {"_NET_WM_STATE_FULLSCREEN", &atoms.netWmStateFullscreen, {}},
    };
    for (auto& each : wanted)
        each.question = xcb_intern_atom(
            connection, false, static_cast<uint16_t>(std::char_traits<char>::length(each.name)),
            each.name);
    for (const auto& each : wanted) {
        const X11Message<xcb_intern_atom_reply_t> answer(
            xcb_intern_atom_reply(connection, each.question, nullptr));
        *each.atom = answer ? answer->atom : 0;
    }
    return atoms;
}

xcb_window_t createX11Window(const X11Server& server, const X11Atoms& atoms,
                             const X11PixelFormat& format, const WindowRequest& request,
                             bool isFullScreen) {
    xcb_connection_t* const connection = server.connection.get();
    const xcb_window_t root = server.screen->root;
    const Target target{connection, xcb_generate_id(connection)};

    // A visual other than the root's needs a colormap and a border of its own.
    const xcb_colormap_t colormap = xcb_generate_id(connection);
    xcb_create_colormap(connection, XCB_COLORMAP_ALLOC_NONE, colormap, root, format.visual);
    const uint32_t attributes[] = {
        server.screen->black_pixel,
        0,  // border
        XCB_EVENT_MASK_STRUCTURE_NOTIFY | XCB_EVENT_MASK_EXPOSURE,
        colormap,
    };
    xcb_create_window(
        connection, format.depth, target.window, root, 0, 0,
        static_cast<uint16_t>(request.size.width), static_cast<uint16_t>(request.size.height), 0,
        XCB_WINDOW_CLASS_INPUT_OUTPUT, format.visual,
        XCB_CW_BACK_PIXEL | XCB_CW_BORDER_PIXEL | XCB_CW_EVENT_MASK | XCB_CW_COLORMAP, attributes);

    setNames(target, atoms, request);
    target.set(atoms.wmProtocols, XCB_ATOM_ATOM, {atoms.wmDeleteWindow});
    // A compositor need not draw what is below.
    target.set(atoms.netWmOpaqueRegion, XCB_ATOM_CARDINAL,
               {0, 0, static_cast<uint32_t>(request.size.width),
                static_cast<uint32_t>(request.size.height)});
    if (isFullScreen) {
        // It has the root's size already, which is all there is to do without a window manager.
        target.set(atoms.netWmState, XCB_ATOM_ATOM, {atoms.netWmStateFullscreen});
        hidePointer(target);
    } else {
        fixSize(target, request.size);
    }
    return target.window;
}
