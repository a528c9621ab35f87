#include "window/scanout/displayArgument.h"

std::optional<DisplayArgument> parseDisplayArgument(const std::string& argument) {
    if (argument.empty())
        return DisplayArgument{};
    if (const auto size = parsePixelSize(argument))
        return DisplayArgument{"", size};
    if (argument.find('/') == std::string::npos)
        return std::nullopt;
    // A graphics card's name by its place in the machine has colons as well.
    const size_t lastColon = argument.rfind(':');
    if (lastColon != std::string::npos) {
        if (const auto size = parsePixelSize(argument.substr(lastColon + 1)))
            return DisplayArgument{argument.substr(0, lastColon), size};
    }
    return DisplayArgument{argument, std::nullopt};
}
