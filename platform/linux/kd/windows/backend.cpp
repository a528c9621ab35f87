#include "kd/windows/backend.h"

#include <charconv>
#include <cstdarg>
#include <cstdio>

#include "kd/windows/headless.h"
#include "kd/windows/kms.h"
#include "kd/windows/wayland.h"
#include "kd/windows/x11.h"
#include "settings/layerSettings.h"

namespace {

// In the order of the automatic choice: headless is always there, so it comes last.
const WindowBackend* const kBackends[] = {
    &kWaylandBackend,
    &kX11Backend,
    &kKmsBackend,
    &kHeadlessBackend,
};

const WindowBackend* firstPresent() {
    for (const WindowBackend* backend : kBackends) {
        if (backend->isPresent())
            return backend;
    }
    return nullptr;
}

const WindowBackend* findBackend(const std::string& name) {
    std::string known;
    for (const WindowBackend* backend : kBackends) {
        if (name == backend->name)
            return backend;
        known += std::string(known.empty() ? "" : ", ") + backend->name;
    }
    windowError("VELKARIS_WINDOW: no window backend \"%s\"; there are: %s", name.c_str(),
                known.c_str());
    return nullptr;
}

std::optional<OpenedBackend> open() {
    const LayerSettings settings = readLayerSettings();
    // An argument alone is a mistake: what it means depends on the backend.
    const bool automatic = settings.windowBackend.empty() && settings.windowArgument.empty();
    const WindowBackend* backend = automatic ? firstPresent() : findBackend(settings.windowBackend);
    if (!backend)
        return std::nullopt;
    const std::optional<NativeDisplay> native = backend->open(settings.windowArgument);
    if (!native)
        return std::nullopt;
    if (automatic && backend == &kHeadlessBackend)
        windowError("no display found; drawing headless, %dx%d", native->size.width,
                    native->size.height);
    return OpenedBackend{backend, *native};
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

void windowError(const char* format, ...) {
    char text[512];
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    std::fprintf(stderr, "[Velkaris] window: %s\n", text);
}
