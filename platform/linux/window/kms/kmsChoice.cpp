#include "kd/windows/kmsChoice.h"

#include <drm_fourcc.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace {

constexpr size_t kBytesPerPixel = 4;

// The planes that take 8 bits a channel, the best first.
constexpr uint32_t kPlaneFormats[] = {DRM_FORMAT_XRGB8888, DRM_FORMAT_ARGB8888};

// A boot loader's mode may differ from the display's own description by a rounded pixel clock.
bool isAlike(const drmModeModeInfo& left, const drmModeModeInfo& right) {
    constexpr uint32_t kScan = DRM_MODE_FLAG_INTERLACE | DRM_MODE_FLAG_DBLSCAN;
    return left.hdisplay == right.hdisplay && left.vdisplay == right.vdisplay &&
           left.vrefresh == right.vrefresh && (left.flags & kScan) == (right.flags & kScan);
}

bool isPreferred(const drmModeModeInfo& mode) {
    return (mode.type & DRM_MODE_TYPE_PREFERRED) != 0;
}

std::vector<drmModeModeInfo> ofSize(const std::vector<drmModeModeInfo>& modes,
                                    const DisplaySize& size) {
    std::vector<drmModeModeInfo> found;
    std::copy_if(modes.begin(), modes.end(), std::back_inserter(found), [&](const auto& mode) {
        return mode.hdisplay == size.width && mode.vdisplay == size.height;
    });
    return found;
}

// The offset into the longer of the two at which the shorter is in its middle; 0 for the shorter.
int32_t middle(int32_t length, int32_t other) {
    return length > other ? (length - other) / 2 : 0;
}

}  // namespace

std::optional<drmModeModeInfo> chooseMode(const std::vector<drmModeModeInfo>& modes,
                                          const drmModeModeInfo* running,
                                          const std::optional<DisplaySize>& wanted) {
    if (wanted) {
        const std::vector<drmModeModeInfo> fitting = ofSize(modes, *wanted);
        if (!fitting.empty())
            return chooseMode(fitting, running, std::nullopt);
    }
    if (running && std::any_of(modes.begin(), modes.end(),
                               [&](const auto& mode) { return isAlike(mode, *running); }))
        return *running;
    const auto preferred = std::find_if(modes.begin(), modes.end(), isPreferred);
    if (preferred != modes.end())
        return *preferred;
    return modes.empty() ? std::nullopt : std::make_optional(modes.front());
}

bool isSameTiming(const drmModeModeInfo& left, const drmModeModeInfo& right) {
    const auto timing = [](const drmModeModeInfo& mode) {
        return std::vector<uint32_t>{
            mode.clock,     mode.hdisplay, mode.hsync_start, mode.hsync_end,
            mode.htotal,    mode.hskew,    mode.vdisplay,    mode.vsync_start,
            mode.vsync_end, mode.vtotal,   mode.vscan,       mode.flags,
        };
    };
    return timing(left) == timing(right);
}

uint32_t choosePlaneFormat(const std::vector<uint32_t>& formats) {
    for (const uint32_t format : kPlaneFormats) {
        if (std::find(formats.begin(), formats.end(), format) != formats.end())
            return format;
    }
    return 0;
}

Placement placeCentred(const DisplaySize& picture, const DisplaySize& display) {
    return {
        middle(picture.width, display.width),   middle(picture.height, display.height),
        middle(display.width, picture.width),   middle(display.height, picture.height),
        std::min(picture.width, display.width), std::min(picture.height, display.height),
    };
}

void copyPlaced(const uint8_t* rgba, const DisplaySize& picture, const Placement& placement,
                uint8_t* buffer, size_t stride) {
    for (int32_t y = 0; y < placement.height; ++y) {
        const int32_t rowFromBottom = picture.height - 1 - (placement.fromY + y);
        const uint8_t* from =
            rgba + (static_cast<size_t>(rowFromBottom) * static_cast<size_t>(picture.width) +
                    static_cast<size_t>(placement.fromX)) *
                       kBytesPerPixel;
        uint8_t* to = buffer + static_cast<size_t>(placement.toY + y) * stride +
                      static_cast<size_t>(placement.toX) * kBytesPerPixel;
        for (int32_t x = 0; x < placement.width; ++x) {
            to[0] = from[2];
            to[1] = from[1];
            to[2] = from[0];
            to[3] = 0xff;
            from += kBytesPerPixel;
            to += kBytesPerPixel;
        }
    }
}

std::string describeCardError(const std::string& path, int error) {
    switch (error) {
        case ENOENT:
        case ENODEV:
        case ENXIO: return "no graphics card " + path;
        case EACCES:
        case EPERM: return "no permission to open " + path;
        case ENOTTY:
        case EOPNOTSUPP:
        case EINVAL: return path + " is no graphics card that drives displays";
        case EBUSY: return path + " is in use: another program is its DRM master";
        default: return "can't open " + path + ": " + std::strerror(error);
    }
}
