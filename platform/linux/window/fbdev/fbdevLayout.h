// How pictures lie in the memory of a framebuffer, by what the kernel tells of it.
#pragma once

#include <linux/fb.h>

#include <optional>
#include <string>

#include "window/scanout/scanout.h"

struct FbdevLayout {
    PixelSize size;
    PixelFormat format;
    size_t stride;       // bytes from a row to the one below it
    size_t shownStart;   // bytes from the memory's start to the picture that is shown
    bool hasSecondSide;  // there is room for two pictures, one below the other from the start on,
                         // and the display can be moved from one to the other
};

// Nothing, and the reason as "has ...", for what is not drawn on: pixels other than 16, 24 or 32
// bits of true colour.
std::optional<FbdevLayout> layoutOf(const fb_fix_screeninfo& fixed,
                                    const fb_var_screeninfo& variable, std::string* reason);

// Whether pictures lie in both in the same way. Where the display is moved to does not count.
bool isSameMode(const fb_var_screeninfo& left, const fb_var_screeninfo& right);
