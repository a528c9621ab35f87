// Which codec an image file needs. Each is a module of its own.
#pragma once

#include <cstdint>
#include <vector>

#include "codec/imageCodec.h"

// The name of the format that a file with this beginning has: "png", "jpeg"; null if no codec of
// this build knows it.
const char* imageFormat(const std::vector<uint8_t>& beginning);

// Whether this build has a codec of that name.
bool hasImageFormat(const char* name);

// The codec of a format that this build has; null after one line on standard error when its module
// cannot be loaded.
const ImageCodec* imageCodec(const char* name);
