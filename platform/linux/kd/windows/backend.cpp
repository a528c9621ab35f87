#include "kd/windows/backend.h"

#include <charconv>

#include "kd/windows/headless.h"
#include "kd/windows/kms.h"
#include "kd/windows/wayland.h"
#include "kd/windows/x11.h"
#include "report/layerError.h"
#include "settings/layerSettings.h"

namespace {

// In the order of the automatic choice: headless is always there, so it comes last.
const WindowBackend* const kBackends[] = {
    &kWaylandBackend,
    &kX11Backend,
    &kKmsBackend,
    &kHeadlessBackend,
};

const char* const kAutomatic = "auto";

const WindowBackend* firstPresent() {
    for (const WindowBackend* backend : kBackends) {
        if (backend->isPresent())
            return backend;
    }
    return nullptr;
}

const WindowBackend* findBackend(const std::string& name) {
    std::string known = kAutomatic;
    for (const WindowBackend* backend : kBackends) {
        if (name == backend->name)
            return backend;
        known += std::string(", ") + backend->name;
    }
    layerError("VELKARIS_WINDOW: no window backend \"%s\"; there are: %s", name.c_str(),
               known.c_str());
    return nullptr;
}

std::optional<OpenedBackend> openNamed(const WindowBackend* backend, const std::string& argument) {
    if (!backend)
        return std::nullopt;
    const std::optional<NativeDisplay> native = backend->open(argument);
    if (!native)
        return std::nullopt;
    return OpenedBackend{backend, *native};
}

// `size` is for windows, on a desktop or in memory; a display without a desktop is filled.
std::optional<OpenedBackend> openAutomatic(const std::string& size) {
    if (!size.empty() && !parseSize(size)) {
        layerError("VELKARIS_WINDOW: auto:%s is no size; write auto or auto:WIDTHxHEIGHT",
                   size.c_str());
        return std::nullopt;
    }
    const WindowBackend* const backend = firstPresent();
    const std::optional<OpenedBackend> opened =
        openNamed(backend, backend == &kKmsBackend ? "" : size);
    if (opened && backend == &kHeadlessBackend)
        layerError("no display found; drawing headless, %dx%d", opened->native.size.width,
                   opened->native.size.height);
    return opened;
}

std::optional<OpenedBackend> open() {
    const LayerSettings settings = readLayerSettings();
    const std::string& name = settings.windowBackend;
    const std::string& argument = settings.windowArgument;
    // An argument alone is a mistake: what it means depends on the backend.
    if (name == kAutomatic || (name.empty() && argument.empty()))
        return openAutomatic(argument);
    return openNamed(findBackend(name), argument);
}

}  // namespace

const OpenedBackend* openedBackend() {
    static const std::optional<OpenedBackend> opened = open();
    return opened ? &*opened : nullptr;
}

std::optional<DisplaySize> parseSize(const std::string& text) {
    // What the window protocols can say: sixteen bits with a sign.
    constexpr int32_t kLargest = 32767;
    const char* const end = text.data() + text.size();
    DisplaySize size{};
    const auto [cross, widthError] = std::from_chars(text.data(), end, size.width);
    if (widthError != std::errc() || cross == end || *cross != 'x')
        return std::nullopt;
    const auto [rest, heightError] = std::from_chars(cross + 1, end, size.height);
    if (heightError != std::errc() || rest != end)
        return std::nullopt;
    if (size.width < 1 || size.width > kLargest || size.height < 1 || size.height > kLargest)
        return std::nullopt;
    return size;
}
