#include "window/headless/headless.h"

#include "report/layerError.h"

namespace {

PixelSize displaySize = kHeadlessSize;

bool isPresent() {
    return true;
}

std::optional<PixelSize> open(const std::string& argument) {
    const std::optional<PixelSize> size =
        argument.empty() ? kHeadlessSize : parsePixelSize(argument);
    if (!size) {
        layerError("VELKARIS_WINDOW: headless:%s is no size; write headless:WIDTHxHEIGHT",
                   argument.c_str());
        return std::nullopt;
    }
    displaySize = *size;
    return size;
}

std::optional<PixelSize> realize(const WindowRequest& request) {
    return request.size.width > 0 ? request.size : displaySize;
}

void present(const Picture&) {}

}  // namespace

const Window kHeadlessWindow = {"headless", false, isPresent, open, realize, present};
