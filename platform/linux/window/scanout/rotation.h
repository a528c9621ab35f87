// How far the picture is turned on its way to a display, for panels that are mounted turned.
#pragma once

#include <optional>

#include "picture/pixelSize.h"

enum class Rotation { by0, by90, by180, by270 };  // degrees clockwise

inline int degrees(Rotation rotation) {
    return static_cast<int>(rotation) * 90;
}

// First by the one, then by the other.
inline Rotation operator+(Rotation left, Rotation right) {
    return static_cast<Rotation>((static_cast<int>(left) + static_cast<int>(right)) % 4);
}

// The size of what is `size` before it is turned; the same function leads back.
inline PixelSize turned(const PixelSize& size, Rotation rotation) {
    const bool isUpright = rotation == Rotation::by0 || rotation == Rotation::by180;
    return isUpright ? size : PixelSize{size.height, size.width};
}

// What VELKARIS_ROTATION asks for, nothing for the automatic choice. False after printing that the
// setting is none.
bool readRotation(std::optional<Rotation>* rotation);

// How the kernel turns its text console on the framebuffer of that number (/dev/fbN). Nothing where
// its text console is on another framebuffer or on none, or does not tell.
std::optional<Rotation> textConsoleRotation(int framebuffer);
