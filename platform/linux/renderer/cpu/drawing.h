// From four vertices to a rectangle of pixels: the transform, the clipping and the sampling that
// OpenGL ES 2.0 says, for rectangles along the axes.
#pragma once

#include <array>

#include "picture/pixelSize.h"
#include "renderer/cpu/rectangle.h"

struct Viewport {
    int32_t x, y;  // of the bottom left corner on the surface, y upwards
    int32_t width, height;
};

struct Vertex {
    std::array<float, 4> position;  // before the transform; w is 1 where it is not fed
    std::array<float, 2> texCoord;
};
using Strip = std::array<Vertex, 4>;

struct StripTransforms {
    std::array<float, 16> position;  // column by column, to clip coordinates
    std::array<float, 4> texture;    // column by column, to fractions of the image
};

enum class StripShape { rectangle, empty, other };

// The pixels whose centres lie in the strip, inside viewport and surface, and the texels of an
// image of that size that they sample; an edge through a centre takes it in at the left and at the
// top. Sets *rectangle for StripShape::rectangle alone. Without an image its size is 0 x 0.
StripShape placeStrip(const Strip& strip, const StripTransforms& transforms,
                      const Viewport& viewport, const PixelSize& surface, const PixelSize& image,
                      Rectangle* rectangle);
