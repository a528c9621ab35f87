#include "window/scanout/rotation.h"

#include <fcntl.h>
#include <linux/fb.h>
#include <sys/ioctl.h>

#include <charconv>
#include <cstdint>
#include <string>

#include "ownership/fileDescriptor.h"
#include "report/layerError.h"
#include "settings/layerSettings.h"

namespace {

// The number behind `prefix` in a file of the kernel's; -1 if there is none.
int numberIn(const char* path, const std::string& prefix) {
    const FileDescriptor fd(open(path, O_RDONLY | O_CLOEXEC));
    char text[32];
    const ssize_t length = fd ? read(fd.get(), text, sizeof text) : -1;
    if (length < 0 || std::string(text, static_cast<size_t>(length)).rfind(prefix, 0) != 0)
        return -1;
    int number = -1;
    std::from_chars(text + prefix.size(), text + length, number);
    return number;
}

bool hasTextConsole(int framebuffer) {
    const int terminal = numberIn("/sys/class/tty/tty0/active", "tty");
    const std::string path = "/dev/fb" + std::to_string(framebuffer);
    const FileDescriptor fd(open(path.c_str(), O_RDONLY | O_CLOEXEC));
    fb_con2fbmap map{};
    map.console = static_cast<uint32_t>(terminal);
    return terminal > 0 && fd && ioctl(fd.get(), FBIOGET_CON2FBMAP, &map) == 0 &&
           map.framebuffer == static_cast<uint32_t>(framebuffer);
}

}  // namespace

bool readRotation(std::optional<Rotation>* rotation) {
    const std::string setting = readLayerSettings().rotation;
    rotation->reset();
    if (setting.empty() || setting == "auto")
        return true;
    for (const Rotation each : {Rotation::by0, Rotation::by90, Rotation::by180, Rotation::by270}) {
        if (setting == std::to_string(degrees(each)))
            *rotation = each;
    }
    if (!*rotation)
        layerError("VELKARIS_ROTATION: \"%s\" is no rotation; write auto, 0, 90, 180 or 270",
                   setting.c_str());
    return rotation->has_value();
}

std::optional<Rotation> textConsoleRotation(int framebuffer) {
    if (!hasTextConsole(framebuffer))
        return std::nullopt;
    const int quarters = numberIn("/sys/class/graphics/fbcon/rotate", "");
    if (quarters < 0 || quarters > 3)
        return std::nullopt;
    return static_cast<Rotation>(quarters);
}
