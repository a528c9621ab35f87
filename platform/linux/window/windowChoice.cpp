#include "window/windowChoice.h"

#include <array>
#include <cstdlib>

#include "module/moduleLoader.h"
#include "report/layerError.h"
#include "settings/layerSettings.h"
#include "supervisor/supervisor.h"
#include "window/headless/headless.h"
#ifdef VELKARIS_WINDOW_KMS
#include "window/kms/kms.h"
#endif
#ifdef VELKARIS_WINDOW_FBDEV
#include "window/fbdev/fbdev.h"
#endif

namespace {

// One kind of window. Those of a desktop are modules, which the automatic choice loads only where
// one of their variables is set.
struct Kind {
    const char* name;
    const Window* linked;                      // null: a module of that name
    std::array<const char*, 2> announcedBy{};  // environment variables; all null: no condition
};

// In the order of the automatic choice: a desktop before its display, and headless, which is always
// there, last.
const Kind kKinds[] = {
#ifdef VELKARIS_WINDOW_WAYLAND
    {"wayland", nullptr, {"WAYLAND_DISPLAY", "WAYLAND_SOCKET"}},
#endif
#ifdef VELKARIS_WINDOW_X11
    {"x11", nullptr, {"DISPLAY"}},
#endif
#ifdef VELKARIS_WINDOW_KMS
    {"kms", &kKmsWindow},
#endif
#ifdef VELKARIS_WINDOW_FBDEV
    {"fbdev", &kFbdevWindow},
#endif
    {"headless", &kHeadlessWindow},
};

const char* const kAutomatic = "auto";

bool isAnnounced(const Kind& kind) {
    if (!kind.announcedBy[0])
        return true;
    for (const char* variable : kind.announcedBy) {
        const char* const value = variable ? std::getenv(variable) : nullptr;
        if (value && *value)
            return true;
    }
    return false;
}

// Null after printing that its module cannot be loaded.
const Window* windowOf(const Kind& kind) {
    return kind.linked ? kind.linked : loadRecord<Window>(kind.name);
}

// A window whose module is not installed is passed over.
const Window* firstPresent() {
    for (const Kind& kind : kKinds) {
        const Window* const window = isAnnounced(kind) ? windowOf(kind) : nullptr;
        if (window && window->isPresent())
            return window;
    }
    return nullptr;
}

const Window* findWindow(const std::string& name) {
    std::string known = kAutomatic;
    for (const Kind& kind : kKinds) {
        if (name == kind.name)
            return windowOf(kind);
        known += std::string(", ") + kind.name;
    }
    layerError("VELKARIS_WINDOW: no window \"%s\"; there are: %s", name.c_str(), known.c_str());
    return nullptr;
}

// Windows that turn the picture read the setting themselves.
bool takesRotation(const Window& window) {
    const std::string rotation = readLayerSettings().rotation;
    if (window.turnsPictures || rotation.empty() || rotation == kAutomatic || rotation == "0")
        return true;
    layerError("VELKARIS_ROTATION: %s does not turn the picture; write auto or 0", window.name);
    return false;
}

std::optional<OpenedWindow> openNamed(const Window* window, const std::string& argument) {
    if (!window || !takesRotation(*window))
        return std::nullopt;
    const std::optional<PixelSize> size = window->open(argument);
    if (!size)
        return std::nullopt;
    tellSupervisorOfWindow(std::string(window->name) + " " + std::to_string(size->width) + "x" +
                           std::to_string(size->height));
    return OpenedWindow{window, *size};
}

// `size` is for windows, on a desktop or in memory; a display without a desktop is filled.
std::optional<OpenedWindow> openAutomatic(const std::string& size) {
    if (!size.empty() && !parsePixelSize(size)) {
        layerError("VELKARIS_WINDOW: auto:%s is no size; write auto or auto:WIDTHxHEIGHT",
                   size.c_str());
        return std::nullopt;
    }
    const Window* const window = firstPresent();
    const std::optional<OpenedWindow> opened = openNamed(window, window->fillsDisplay ? "" : size);
    if (opened && window == &kHeadlessWindow)
        layerError("no display found; drawing headless, %dx%d", opened->displaySize.width,
                   opened->displaySize.height);
    return opened;
}

std::optional<OpenedWindow> open() {
    const LayerSettings settings = readLayerSettings();
    const std::string& name = settings.windowName;
    const std::string& argument = settings.windowArgument;
    // An argument alone is a mistake: what it means depends on the window.
    if (name == kAutomatic || (name.empty() && argument.empty()))
        return openAutomatic(argument);
    return openNamed(findWindow(name), argument);
}

}  // namespace

const OpenedWindow* openedWindow() {
    static const std::optional<OpenedWindow> opened = open();
    return opened ? &*opened : nullptr;
}
