#include "window/kms/kmsChoice.h"

#include <drm_fourcc.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace {

// The best first.
constexpr uint32_t kPlaneFormats[] = {DRM_FORMAT_XRGB8888, DRM_FORMAT_ARGB8888, DRM_FORMAT_RGB565};

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
                                    const PixelSize& size) {
    std::vector<drmModeModeInfo> found;
    std::copy_if(modes.begin(), modes.end(), std::back_inserter(found), [&](const auto& mode) {
        return mode.hdisplay == size.width && mode.vdisplay == size.height;
    });
    return found;
}

}  // namespace

std::optional<drmModeModeInfo> chooseMode(const std::vector<drmModeModeInfo>& modes,
                                          const drmModeModeInfo* running,
                                          const std::optional<PixelSize>& wanted) {
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

PixelFormat pixelFormatOf(uint32_t format) {
    return format == DRM_FORMAT_RGB565 ? kFormat565 : kFormat8888;
}

Rotation rotationOfPanel(const std::string& orientation) {
    if (orientation == "Right Side Up")
        return Rotation::by90;
    if (orientation == "Upside Down")
        return Rotation::by180;
    return orientation == "Left Side Up" ? Rotation::by270 : Rotation::by0;
}

Rotation rotationOfTextConsole(Rotation panel, bool planeTurnsBy180,
                               std::optional<Rotation> drawn) {
    if (planeTurnsBy180 && panel == Rotation::by180)
        return panel + drawn.value_or(Rotation::by0);
    return drawn.value_or(panel);
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
