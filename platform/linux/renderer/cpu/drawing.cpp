#include "renderer/cpu/drawing.h"

#include <algorithm>
#include <cmath>

namespace {

// Vertices lie on a grid of that many places a pixel, as on every GPU: it swallows what the
// arithmetic in floats adds to whole pixels.
constexpr int32_t kPlacesPerPixel = 256;

// Beyond what a float of whole pixels holds.
constexpr double kFarOutside = 1LL << 40;

// Further out no texel is told from its neighbour, and a number of pixels times a step still fits
// an integer.
constexpr double kMostTexels = 1 << 29;
constexpr double kLargestStep = 1 << 14;

struct Corner {
    int64_t x, y;  // places from the surface's top left corner
    double u, v;   // texels
};

// What is no number lies far outside too.
int64_t onGrid(double pixels) {
    const double near = pixels > -kFarOutside ? std::min(pixels, kFarOutside) : -kFarOutside;
    return static_cast<int64_t>(near * kPlacesPerPixel + (near < 0 ? -0.5 : 0.5));
}

// False where the vertex does not lie within the depth that is seen.
bool placeCorner(const Vertex& vertex, const StripTransforms& transforms, const Viewport& viewport,
                 const PixelSize& surface, const PixelSize& image, Corner* corner) {
    std::array<double, 4> clip{};
    for (size_t row = 0; row < 4; ++row) {
        for (size_t column = 0; column < 4; ++column)
            clip[row] += static_cast<double>(transforms.position[column * 4 + row]) *
                         static_cast<double>(vertex.position[column]);
    }
    if (!(clip[3] > 0) || !(std::abs(clip[2]) <= clip[3]) || std::isnan(clip[0] + clip[1]))
        return false;
    corner->x = onGrid((clip[0] / clip[3] + 1) / 2 * viewport.width + viewport.x);
    corner->y = int64_t{surface.height} * kPlacesPerPixel -
                onGrid((clip[1] / clip[3] + 1) / 2 * viewport.height + viewport.y);
    const double u = static_cast<double>(vertex.texCoord[0]);
    const double v = static_cast<double>(vertex.texCoord[1]);
    const auto& columns = transforms.texture;
    corner->u =
        (u * static_cast<double>(columns[0]) + v * static_cast<double>(columns[1])) * image.width;
    corner->v =
        (u * static_cast<double>(columns[2]) + v * static_cast<double>(columns[3])) * image.height;
    return true;
}

using Corners = std::array<Corner, 4>;

// The first two vertices share one edge and the last two the one across from it, in either
// direction; each corner of the image belongs to one of them.
bool isUpright(const Corners& c) {
    return c[0].x == c[1].x && c[2].x == c[3].x && c[0].y == c[2].y && c[1].y == c[3].y &&
           c[0].u == c[1].u && c[2].u == c[3].u && c[0].v == c[2].v && c[1].v == c[3].v;
}

bool isLying(const Corners& c) {
    return c[0].y == c[1].y && c[2].y == c[3].y && c[0].x == c[2].x && c[1].x == c[3].x &&
           c[0].v == c[1].v && c[2].v == c[3].v && c[0].u == c[2].u && c[1].u == c[3].u;
}

// One axis: edges in places with the texels at them, the smaller edge first.
struct Extent {
    int64_t from, to;
    double texelFrom, texelTo;
};

Extent extent(int64_t a, int64_t b, double texelA, double texelB) {
    return a <= b ? Extent{a, b, texelA, texelB} : Extent{b, a, texelB, texelA};
}

// The first pixel, from `from` to `to`, whose centre is not before that place.
int32_t firstCentre(int64_t place, int32_t from, int32_t to) {
    const int64_t pixel = (place + kPlacesPerPixel / 2 - 1) >> 8;  // rounds down, below 0 too
    return static_cast<int32_t>(std::clamp<int64_t>(pixel, from, std::max(from, to)));
}

struct Covered {
    int32_t first, end;
    float texel, step;
};

Covered cover(const Extent& extent, int32_t from, int32_t to) {
    Covered covered{firstCentre(extent.from, from, to), firstCentre(extent.to, from, to), 0, 0};
    if (covered.first >= covered.end)
        return covered;
    const auto places = static_cast<double>(extent.to - extent.from);
    const double step = (extent.texelTo - extent.texelFrom) * kPlacesPerPixel / places;
    const double start = static_cast<double>(extent.from) / kPlacesPerPixel;
    const double texel = extent.texelFrom + (covered.first + 0.5 - start) * step;
    covered.step = static_cast<float>(std::clamp(step, -kLargestStep, kLargestStep));
    covered.texel = static_cast<float>(std::clamp(texel, -kMostTexels, kMostTexels));
    return covered;
}

}  // namespace

StripShape placeStrip(const Strip& strip, const StripTransforms& transforms,
                      const Viewport& viewport, const PixelSize& surface, const PixelSize& image,
                      Rectangle* rectangle) {
    Corners corners{};
    for (size_t i = 0; i < corners.size(); ++i) {
        if (!placeCorner(strip[i], transforms, viewport, surface, image, &corners[i]))
            return StripShape::empty;
    }
    if (!isUpright(corners) && !isLying(corners))
        return StripShape::other;

    const Corner &near = corners[0], &far = corners[3];
    const int32_t top = surface.height - viewport.y - viewport.height;
    const Covered columns = cover(extent(near.x, far.x, near.u, far.u), std::max(viewport.x, 0),
                                  std::min(viewport.x + viewport.width, surface.width));
    const Covered rows = cover(extent(near.y, far.y, near.v, far.v), std::max(top, 0),
                               std::min(surface.height - viewport.y, surface.height));
    if (columns.first >= columns.end || rows.first >= rows.end)
        return StripShape::empty;
    rectangle->left = static_cast<int16_t>(columns.first);
    rectangle->right = static_cast<int16_t>(columns.end);
    rectangle->top = static_cast<int16_t>(rows.first);
    rectangle->bottom = static_cast<int16_t>(rows.end);
    rectangle->texelX = columns.texel;
    rectangle->stepX = columns.step;
    rectangle->texelY = rows.texel;
    rectangle->stepY = rows.step;
    return StripShape::rectangle;
}
