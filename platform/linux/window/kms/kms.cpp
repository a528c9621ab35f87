#include "window/kms/kms.h"

#include <linux/capability.h>

#include <algorithm>

#include "privileges/privileges.h"
#include "report/layerError.h"
#include "window/kms/kmsSeat.h"
#include "window/scanout/displayArgument.h"

namespace {

// Of a console whose display is still to come.
constexpr PixelSize kSizeWithoutDisplay{1280, 480};

PixelSize consoleSize{};

bool isPresent() {
    const std::vector<std::string> paths = cardPaths();
    return std::any_of(paths.begin(), paths.end(),
                       [](const std::string& path) { return openCard(path) != nullptr; });
}

std::optional<PixelSize> open(const std::string& argument) {
    const std::optional<DisplayArgument> wish = parseDisplayArgument(argument);
    if (!wish) {
        layerError(
            "VELKARIS_WINDOW: kms:%s is no card and no size; write kms, kms:/dev/dri/cardN, "
            "kms:WIDTHxHEIGHT or kms:/dev/dri/cardN:WIDTHxHEIGHT",
            argument.c_str());
        return std::nullopt;
    }
    OutputWish outputWish{wish->size, std::nullopt};
    if (!readRotation(&outputWish.rotation) || !takeSeat(wish->device, outputWish))
        return std::nullopt;
    // A card that another program has held since before we opened it, and a terminal that does not
    // control us, may be taken later.
    keepCapability(CAP_SYS_ADMIN);
    keepCapability(CAP_SYS_TTY_CONFIG);
    const KmsDisplay* const display = currentDisplay();
    consoleSize =
        wish->size.value_or(display ? display->output().consoleSize() : kSizeWithoutDisplay);
    if (!display)
        layerError("kms: no display is connected; drawing off screen, %dx%d, until one appears",
                   consoleSize.width, consoleSize.height);
    return consoleSize;
}

std::optional<PixelSize> realize(const WindowRequest&) {
    return consoleSize;
}

void present(const Picture& picture) {
    followDisplay(consoleSize);
    if (KmsDisplay* const display = currentDisplay())
        display->show(picture);
}

}  // namespace

const Window kKmsWindow = {"kms", true, isPresent, open, realize, present, true};
