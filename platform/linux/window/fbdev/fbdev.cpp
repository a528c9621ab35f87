#include "window/fbdev/fbdev.h"

#include <fcntl.h>
#include <linux/capability.h>

#include <cstdlib>

#include "privileges/privileges.h"
#include "report/layerError.h"
#include "window/fbdev/fbdevDisplay.h"
#include "window/scanout/displayArgument.h"
#include "window/terminal/virtualTerminal.h"

namespace {

constexpr char kFirstFramebuffer[] = "/dev/fb0";

struct Console {
    std::string path;
    std::optional<Rotation> rotation;
    PixelSize size{};
    std::unique_ptr<FbdevDisplay> display;  // null while there is none
    std::string trouble;                    // the last that was printed
};

// Never destroyed: the exit handler of the terminal needs it.
Console& console() {
    static auto* state = new Console;
    return *state;
}

bool isPresent() {
    return static_cast<bool>(FileDescriptor(::open(kFirstFramebuffer, O_RDWR | O_CLOEXEC)));
}

void leaveDisplay() {
    if (console().display)
        console().display->pause();
}

// One that has another mode by now is opened anew with the next frame.
void regainDisplay() {
    if (console().display && console().display->isThere())
        console().display->resume();
    else
        console().display.reset();
}

// Opens the display; what is in the way if it cannot.
std::string takeDisplay() {
    std::string trouble;
    console().display = FbdevDisplay::open(console().path, console().rotation, &trouble);
    if (console().display && !isTerminalSeen())
        console().display->pause();
    return trouble;
}

void followDisplay() {
    FbdevDisplay* const display = console().display.get();
    if (display && (display->isPaused() || display->isThere()))
        return;
    const std::string trouble = takeDisplay();
    if (console().display)
        layerError("fbdev: drawing on %s, %dx%d", console().path.c_str(),
                   console().display->size().width, console().display->size().height);
    else if (trouble != console().trouble)
        layerError("fbdev: %s; drawing off screen until that changes", trouble.c_str());
    console().trouble = trouble;
}

std::optional<PixelSize> open(const std::string& argument) {
    const std::optional<DisplayArgument> wish = parseDisplayArgument(argument);
    if (!wish) {
        layerError(
            "VELKARIS_WINDOW: fbdev:%s is no framebuffer and no size; write fbdev, fbdev:/dev/fbN, "
            "fbdev:WIDTHxHEIGHT or fbdev:/dev/fbN:WIDTHxHEIGHT",
            argument.c_str());
        return std::nullopt;
    }
    console() = {};
    console().path = wish->device.empty() ? kFirstFramebuffer : wish->device;
    if (!readRotation(&console().rotation))
        return std::nullopt;
    const std::string trouble = takeDisplay();
    if (!console().display) {
        layerError("fbdev: %s", trouble.c_str());
        return std::nullopt;
    }
    claimTerminal(leaveDisplay, regainDisplay);
    keepCapability(CAP_SYS_TTY_CONFIG);  // a terminal that does not control us is given back
    std::atexit(leaveDisplay);           // also without a terminal, which would do it
    console().size = wish->size.value_or(console().display->consoleSize());
    return console().size;
}

std::optional<PixelSize> realize(const WindowRequest&) {
    return console().size;
}

void present(const Picture& picture) {
    followDisplay();
    if (console().display)
        console().display->show(picture);
}

}  // namespace

const Window kFbdevWindow = {"fbdev", true, isPresent, open, realize, present, true};
