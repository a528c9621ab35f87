#include "kd/windows/kms.h"

#include <EGL/eglext.h>
#include <GLES2/gl2.h>
#include <KD/kd.h>
#include <gbm.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "egl/realEgl.h"
#include "egl/surfacePixels.h"
#include "kd/windows/headless.h"
#include "kd/windows/kmsHotplug.h"
#include "kd/windows/offScreen.h"
#include "report/layerError.h"

namespace {

// Frames are drawn in one of two ways, and that is settled at start. A card with a GPU draws into
// buffers that its displays show as they are. Where Mesa draws without one, and where there is no
// card yet, the frames are drawn to memory like headless ones, and copied to a display: Mesa does
// not survive that a card vanishes on which it draws, and cards without a GPU do vanish. The one of
// the boot loader's framebuffer gives way to the real driver, others are pulled out.
struct Drawing {
    std::shared_ptr<KmsCard> card;  // null: to memory
    GbmDevice device;
    GbmSurface surface;
    DisplaySize size{};
    bool isShownDirectly = true;  // the card has taken its own buffers for its display so far
    SurfacePixels pixels;         // of a frame that is copied
};

// Never destroyed: the EGL library goes on using the card until the process is gone.
Drawing& drawing() {
    static auto* state = new Drawing;
    return *state;
}

bool isPresent() {
    const std::vector<std::string> paths = cardPaths();
    return std::any_of(paths.begin(), paths.end(),
                       [](const std::string& path) { return openCard(path) != nullptr; });
}

// Opens the card's own way of drawing, if it has one.
void openDrawingCard(const std::shared_ptr<KmsCard>& card) {
    // Without any GPU in the machine Mesa would only say on standard error which drivers it misses.
    if (!machineHasGpu())
        return;
    drawing().device.reset(gbm_create_device(card->fd.get()));
    if (!drawing().device)
        return;
    const EGLDisplay display =
        eglGetPlatformDisplay(EGL_PLATFORM_GBM_KHR, drawing().device.get(), nullptr);
    if (hasGpu(display)) {
        drawing().card = card;
        return;
    }
    eglTerminate(display);
    drawing().device.reset();
}

std::optional<NativeDisplay> open(const std::string& argument) {
    const std::optional<KmsWish> wish = parseKmsWish(argument);
    if (!wish) {
        layerError(
            "VELKARIS_WINDOW: kms:%s is no card and no size; write kms, kms:/dev/dri/cardN, "
            "kms:WIDTHxHEIGHT or kms:/dev/dri/cardN:WIDTHxHEIGHT",
            argument.c_str());
        return std::nullopt;
    }
    if (!startDisplaySearch(wish->card, wish->size))
        return std::nullopt;
    NativeDisplay native = openOffScreenWithoutGpu(wish->size.value_or(kHeadlessSize));
    if (const KmsDisplay* const display = currentDisplay()) {
        native.size = wish->size.value_or(display->output().size());
        if (isSameSize(native.size, display->output().size()))
            openDrawingCard(display->card());
    } else {
        layerError("kms: no display is connected; drawing off screen, %dx%d, until one appears",
                   native.size.width, native.size.height);
    }
    if (drawing().device) {
        native.platform = EGL_PLATFORM_GBM_KHR;
        native.handle = drawing().device.get();
    }
    drawing().size = native.size;
    return native;
}

int realize(const WindowRequest& request, EGLNativeWindowType* window) {
    WindowRequest whole = request;
    whole.size = drawing().size;
    if (!drawing().device)
        return kHeadlessBackend.realize(whole, window);
    EGLint format = 0;
    eglGetConfigAttrib(request.display, request.config, EGL_NATIVE_VISUAL_ID, &format);
    drawing().surface.reset(
        gbm_surface_create(drawing().device.get(), static_cast<uint32_t>(whole.size.width),
                           static_cast<uint32_t>(whole.size.height), static_cast<uint32_t>(format),
                           GBM_BO_USE_SCANOUT | GBM_BO_USE_RENDERING));
    if (!drawing().surface) {
        layerError("kms: %s has no buffers for a picture of %dx%d: %s",
                   drawing().card->path.c_str(), whole.size.width, whole.size.height,
                   std::strerror(errno));
        return KD_EIO;
    }
    *window = reinterpret_cast<EGLNativeWindowType>(drawing().surface.get());
    return 0;
}

EGLSurface createSurface(EGLDisplay display, EGLConfig config, EGLNativeWindowType window,
                         const EGLint* attributes) {
    if (!drawing().surface)
        return kHeadlessBackend.createSurface(display, config, window, attributes);
    return __real_eglCreateWindowSurface(display, config, window, attributes);
}

void listen() {
    followDisplay(drawing().size);
}

EGLBoolean presentCopy(EGLDisplay eglDisplay, EGLSurface surface, KmsDisplay* display) {
    if (display)
        readSurfacePixels(eglDisplay, surface, &drawing().pixels);
    const EGLBoolean swapped = kHeadlessBackend.present(eglDisplay, surface);
    if (display && swapped == EGL_TRUE)
        display->showCopy(drawing().pixels.rgba.data(), drawing().size);
    return swapped;
}

// The size is that of the display at start; a later one may differ.
bool takesDrawnBuffers(const KmsDisplay* display) {
    if (!display || !drawing().isShownDirectly || display->card() != drawing().card)
        return false;
    return isSameSize(display->output().size(), drawing().size);
}

EGLBoolean presentBuffer(EGLDisplay eglDisplay, EGLSurface surface, KmsDisplay* display) {
    const bool isDirect = takesDrawnBuffers(display);
    const EGLBoolean swapped = isDirect ? kHeadlessBackend.present(eglDisplay, surface)
                                        : presentCopy(eglDisplay, surface, display);
    if (swapped != EGL_TRUE)
        return swapped;
    // Taken in either case, so that the surface always has a buffer left to draw the next one to.
    KmsFramePtr frame = takeSwappedFrame(drawing().card, drawing().surface.get(),
                                         isDirect ? display->output().format : 0);
    if (isDirect && frame)
        display->show(std::move(frame));
    else if (isDirect)
        drawing().isShownDirectly = false;  // from the next frame on it gets copies
    return swapped;
}

EGLBoolean present(EGLDisplay eglDisplay, EGLSurface surface) {
    KmsDisplay* const display = currentDisplay();
    return drawing().surface ? presentBuffer(eglDisplay, surface, display)
                             : presentCopy(eglDisplay, surface, display);
}

}  // namespace

std::optional<KmsWish> parseKmsWish(const std::string& argument) {
    if (argument.empty())
        return KmsWish{};
    if (const auto size = parseSize(argument))
        return KmsWish{"", size};
    if (argument.find('/') == std::string::npos)
        return std::nullopt;
    // A card's name by its place in the machine has colons as well.
    const size_t lastColon = argument.rfind(':');
    if (lastColon != std::string::npos) {
        if (const auto size = parseSize(argument.substr(lastColon + 1)))
            return KmsWish{argument.substr(0, lastColon), size};
    }
    return KmsWish{argument, std::nullopt};
}

const WindowBackend kKmsBackend = {
    "kms", EGL_PBUFFER_BIT, isPresent, open, realize, createSurface, listen, present,
};
