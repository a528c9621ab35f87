#include "codec/decodedImage.h"

#include <img/img.h>

int allocatePixels(DecodedImage* image, unsigned width, unsigned height) {
    if (width == 0 || height == 0)
        return IMG_ERR_CORRUPT;
    if (width > kLargestSide || height > kLargestSide || size_t{width} * height > kMostPixels)
        return IMG_ERR_NOSUPPORT;
    image->width = width;
    image->height = height;
    image->pixels.reset(static_cast<uint8_t*>(std::malloc(size_t{width} * height * 4)));
    return image->pixels ? IMG_ERR_OK : IMG_ERR_MEM;
}
