// What is decided about a display before it is touched: its mode, the format of its buffers, how
// the picture is turned. Plain arithmetic on records; no card is needed.
#pragma once

#include <xf86drmMode.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "window/scanout/scanout.h"

// The mode for a display that offers `modes`. Without a wanted size: the one that is running, null
// if none is, when the display offers its like; else the preferred one; else the first. With a
// wanted size the same among the modes of that size, and among all of them if there is none.
// Nothing for a display without modes.
std::optional<drmModeModeInfo> chooseMode(const std::vector<drmModeModeInfo>& modes,
                                          const drmModeModeInfo* running,
                                          const std::optional<PixelSize>& wanted);

// Whether the display would not notice a change from one to the other.
bool isSameTiming(const drmModeModeInfo& left, const drmModeModeInfo& right);

// The best format for a plane that offers `formats`, 0 if it has none that is drawn here: 8 bits
// each of red, green and blue, better without alpha because nothing is below the picture; else 5, 6
// and 5.
uint32_t choosePlaneFormat(const std::vector<uint32_t>& formats);

// How a buffer of that format looks.
PixelFormat pixelFormatOf(uint32_t format);

// How a picture is turned so that it is upright on a panel that is mounted as the kernel says by
// its property "panel orientation"; not at all where it says nothing.
Rotation rotationOfPanel(const std::string& orientation);

// How the kernel's text console is turned on a display: in part by the display's plane, when the
// driver can do that, and the rest by itself, which is `drawn` where it is known.
Rotation rotationOfTextConsole(Rotation panel, bool planeTurnsBy180, std::optional<Rotation> drawn);

// Why a card can't be opened, as one line; `error` is the errno of the attempt.
std::string describeCardError(const std::string& path, int error);
