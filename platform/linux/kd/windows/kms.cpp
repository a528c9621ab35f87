#include "kd/windows/kms.h"

#include <EGL/eglext.h>
#include <GLES2/gl2.h>
#include <KD/kd.h>
#include <xf86drm.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "dispatch/eventLoop.h"
#include "egl/realEgl.h"
#include "egl/surfacePixels.h"
#include "kd/windows/headless.h"
#include "kd/windows/kmsDisplay.h"
#include "kd/windows/kmsTerminal.h"

namespace {

struct Kms {
    std::string path;                             // of the only card that may be taken; empty: any
    std::vector<std::shared_ptr<KmsCard>> cards;  // those that are open, as long as they are there
    std::unique_ptr<KmsDisplay> display;          // null while there is none
    bool hasTerminal = false;                     // it was claimed, or there is none to claim
    std::string trouble;                          // the last that was printed

    // What draws the frames: the card that was there at start, or no card, then into memory.
    std::shared_ptr<KmsCard> drawingCard;
    GbmDevice device;
    GbmSurface surface;
    DisplaySize size{};
    bool showsDrawnBuffers = true;  // the drawing card takes its own buffers for its displays
    SurfacePixels pixels;           // of a frame that is copied
};

// Never destroyed: the EGL library goes on using the card until the process is gone.
Kms& kms() {
    static auto* state = new Kms;
    return *state;
}

void onFlip(int, unsigned, unsigned, unsigned, void* number) {
    if (kms().display)
        kms().display->flipped(reinterpret_cast<uintptr_t>(number));
}

void handleCardEvents(void* card) {
    drmEventContext context{};
    context.version = 2;
    context.page_flip_handler = onFlip;
    drmHandleEvent(static_cast<KmsCard*>(card)->fd.get(), &context);
}

void leaveDisplay() {
    if (kms().display)
        kms().display->pause();
    for (const auto& card : kms().cards)
        dropMaster(*card);
}

void sayOnce(const std::string& trouble) {
    if (!trouble.empty() && trouble != kms().trouble)
        windowError("kms: %s", trouble.c_str());
    kms().trouble = trouble;
}

// Takes the display back where the program ought to have it and does not.
void regainDisplay() {
    KmsDisplay* const display = kms().display.get();
    if (!display || !isTerminalSeen() || drmIsMaster(display->card()->fd.get()))
        return;
    if (!becomeMaster(*display->card()))
        return sayOnce(describeCardError(display->card()->path, errno));
    sayOnce("");
    display->resume();
}

std::vector<std::string> candidatePaths() {
    return kms().path.empty() ? cardPaths() : std::vector<std::string>{kms().path};
}

void forgetVanishedCards() {
    auto& cards = kms().cards;
    const auto isGone = [](const std::shared_ptr<KmsCard>& card) {
        const bool gone = !DrmResources(drmModeGetResources(card->fd.get()));
        if (gone)
            eventLoopForget(card->fd.get());
        return gone;
    };
    cards.erase(std::remove_if(cards.begin(), cards.end(), isGone), cards.end());
}

std::shared_ptr<KmsCard> knownCard(const std::string& path) {
    for (const auto& card : kms().cards) {
        if (card->path == path)
            return card;
    }
    return nullptr;
}

// Null with errno.
std::shared_ptr<KmsCard> newCard(const std::string& path) {
    std::shared_ptr<KmsCard> card = openCard(path);
    if (!card || !eventLoopWatch(card->fd.get(), handleCardEvents, card.get()))
        return nullptr;
    kms().cards.push_back(card);
    return card;
}

void closeCard(const std::shared_ptr<KmsCard>& card) {
    eventLoopForget(card->fd.get());
    auto& cards = kms().cards;
    cards.erase(std::remove(cards.begin(), cards.end(), card), cards.end());
}

void dropOtherCards(const std::shared_ptr<KmsCard>& used) {
    const auto cards = kms().cards;
    for (const auto& card : cards) {
        if (card != used && card != kms().drawingCard)
            closeCard(card);
    }
}

// False with errno when the display may not be had.
bool takeDisplay(const std::shared_ptr<KmsCard>& card, const KmsOutput& output) {
    const bool isSeen = isTerminalSeen();
    if (!isSeen) {
        dropMaster(*card);
    } else if (!becomeMaster(*card)) {
        const int error = errno;
        // Opened anew by the next attempt: by that alone a program without rights gets a card.
        closeCard(card);
        errno = error;
        return false;
    }
    kms().display = std::make_unique<KmsDisplay>(card, output);
    if (!isSeen)
        kms().display->pause();
    if (!kms().hasTerminal)
        claimTerminal(leaveDisplay, regainDisplay);
    kms().hasTerminal = true;
    dropOtherCards(card);
    return true;
}

// Whether a card's error concerns the program when it may take any card.
bool isInTheWay(int error) {
    return error == EACCES || error == EPERM || error == EBUSY;
}

// Looks for a display that is connected, and takes it. Returns why none could be had, which is
// nothing when none is there.
std::string findDisplay(const std::optional<DisplaySize>& wanted) {
    std::string trouble;
    for (const std::string& path : candidatePaths()) {
        std::shared_ptr<KmsCard> card = knownCard(path);
        const bool isNew = !card;
        if (isNew)
            card = newCard(path);
        int error = card ? 0 : errno;
        if (card) {
            const auto output = findOutput(*card, wanted, isNew);
            if (output && takeDisplay(card, *output))
                return "";
            error = output ? errno : 0;
        }
        const bool matters = !kms().path.empty() || isInTheWay(error);
        if (error != 0 && matters && trouble.empty())
            trouble = describeCardError(path, error);
    }
    return trouble;
}

void followDisplay() {
    if (kms().display && !kms().display->isThere()) {
        windowError("kms: %s of %s is gone; drawing off screen until a display appears",
                    kms().display->output().name.c_str(), kms().display->card()->path.c_str());
        kms().display.reset();
    }
    if (kms().display)
        return regainDisplay();
    forgetVanishedCards();
    sayOnce(findDisplay(kms().size));
    if (kms().display)
        windowError("kms: drawing on %s of %s, %dx%d", kms().display->output().name.c_str(),
                    kms().display->card()->path.c_str(), kms().display->output().size().width,
                    kms().display->output().size().height);
}

bool isPresent() {
    const std::vector<std::string> paths = cardPaths();
    return std::any_of(paths.begin(), paths.end(),
                       [](const std::string& path) { return openCard(path) != nullptr; });
}

// What is drawn with no card at hand; one that comes gets copies.
std::optional<NativeDisplay> openMemory() {
    const auto native = kHeadlessBackend.open("");
    if (native)
        kms().size = native->size;
    return native;
}

std::optional<NativeDisplay> open(const std::string& argument) {
    kms().path = argument;
    const std::string trouble = findDisplay(std::nullopt);
    if (!trouble.empty()) {
        windowError("kms: %s", trouble.c_str());
        return std::nullopt;
    }
    std::optional<NativeDisplay> native = openMemory();
    if (native && !kms().cards.empty()) {
        kms().drawingCard = kms().cards.front();
        kms().device.reset(gbm_create_device(kms().drawingCard->fd.get()));
    }
    if (native && kms().display)
        kms().size = native->size = kms().display->output().size();
    if (native && kms().device)
        *native = {EGL_PLATFORM_GBM_KHR, kms().device.get(), kms().size};
    if (native && !kms().display)
        windowError("kms: no display is connected; drawing off screen, %dx%d, until one appears",
                    kms().size.width, kms().size.height);
    return native;
}

int realize(const WindowRequest& request, EGLNativeWindowType* window) {
    if (!kms().device)
        return kHeadlessBackend.realize(request, window);
    EGLint format = 0;
    eglGetConfigAttrib(request.display, request.config, EGL_NATIVE_VISUAL_ID, &format);
    kms().surface.reset(
        gbm_surface_create(kms().device.get(), static_cast<uint32_t>(kms().size.width),
                           static_cast<uint32_t>(kms().size.height), static_cast<uint32_t>(format),
                           GBM_BO_USE_SCANOUT | GBM_BO_USE_RENDERING));
    if (!kms().surface) {
        windowError("kms: %s has no buffers for a picture of %dx%d: %s",
                    kms().drawingCard->path.c_str(), kms().size.width, kms().size.height,
                    std::strerror(errno));
        return KD_EIO;
    }
    *window = reinterpret_cast<EGLNativeWindowType>(kms().surface.get());
    return 0;
}

EGLSurface createSurface(EGLDisplay display, EGLConfig config, EGLNativeWindowType window,
                         const EGLint* attributes) {
    if (!kms().surface)
        return kHeadlessBackend.createSurface(display, config, window, attributes);
    return __real_eglCreateWindowSurface(display, config, window, attributes);
}

// The size does not change by itself, but a display that is not the one from the start may differ.
bool takesDrawnBuffers(const KmsDisplay& display) {
    const DisplaySize size = display.output().size();
    return kms().surface && kms().showsDrawnBuffers && display.card() == kms().drawingCard &&
           size.width == kms().size.width && size.height == kms().size.height;
}

EGLBoolean swapDrawnBuffer(EGLDisplay display, EGLSurface surface) {
    // Software rendering leaves no fence that the display would wait for.
    glFinish();
    return __real_eglSwapBuffers(display, surface);
}

EGLBoolean present(EGLDisplay eglDisplay, EGLSurface surface) {
    KmsDisplay* const display = kms().display.get();
    const bool isDirect = display && takesDrawnBuffers(*display);
    if (display && !isDirect)
        readSurfacePixels(eglDisplay, surface, &kms().pixels);
    if (!kms().surface) {
        const EGLBoolean swapped = kHeadlessBackend.present(eglDisplay, surface);
        if (display && swapped == EGL_TRUE)
            display->showCopy(kms().pixels.rgba.data(), kms().size);
        return swapped;
    }
    const EGLBoolean swapped = swapDrawnBuffer(eglDisplay, surface);
    if (swapped != EGL_TRUE)
        return swapped;
    KmsFramePtr frame = takeSwappedFrame(kms().drawingCard, kms().surface.get(),
                                         isDirect ? display->output().format : 0);
    if (isDirect && frame)
        display->show(std::move(frame));
    else if (isDirect)
        kms().showsDrawnBuffers = false;
    else if (display)
        display->showCopy(kms().pixels.rgba.data(), kms().size);
    return swapped;
}

}  // namespace

const WindowBackend kKmsBackend = {
    "kms", EGL_PBUFFER_BIT, isPresent, open, realize, createSurface, followDisplay, present,
};
