#include "window/windowChoice.h"

#include "report/layerError.h"
#include "settings/layerSettings.h"
#include "window/fbdev/fbdev.h"
#include "window/headless/headless.h"
#include "window/kms/kms.h"

namespace {

// In the order of the automatic choice: headless is always there, so it comes last.
const Window* const kWindows[] = {
    &kKmsWindow,
    &kFbdevWindow,
    &kHeadlessWindow,
};

const char* const kAutomatic = "auto";

const Window* firstPresent() {
    for (const Window* window : kWindows) {
        if (window->isPresent())
            return window;
    }
    return nullptr;
}

const Window* findWindow(const std::string& name) {
    std::string known = kAutomatic;
    for (const Window* window : kWindows) {
        if (name == window->name)
            return window;
        known += std::string(", ") + window->name;
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
