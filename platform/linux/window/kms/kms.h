// Full screen on a graphics card by the kernel's mode setting alone, without any display server.
// Goes on without a display, and lights one that appears.
#pragma once

#include "kd/windows/backend.h"

// What stands behind the colon of the kms backend: a card, a size, or both with a colon between
// them. Nothing if it is none of these.
struct KmsWish {
    std::string card;  // a path with a slash; empty: any
    std::optional<DisplaySize> size;
};
std::optional<KmsWish> parseKmsWish(const std::string& argument);

extern const WindowBackend kKmsBackend;
