#include "gfx/logo.h"

#include <GLES2/gl2.h>
#include <img/img.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "display/displayable.h"
#include "gfx/pixelMath.h"
#include "gfx/renderContext.h"

LogoImage logoImage;

namespace {

constexpr size_t kPixelBytes = 4;  // R, G, B, A

// The decoded image; its pixels are the caller's to free. Ends the process on failure.
img_t decodeImage(const char* path) {
    img_lib_t library = nullptr;
    const int attached = img_lib_attach(&library);
    if (attached != IMG_ERR_OK) {
        fprintf(stderr, "img_lib_attach() failed: %d\n", attached);
        exit(-1);
    }

    img_t image = {};
    image.format = IMG_FMT_RGBA8888;
    image.flags = IMG_FORMAT;
    const int loaded = img_load_file(library, path, nullptr, &image);
    if (loaded != IMG_ERR_OK) {
        fprintf(stderr, "img_load_file(%s) failed: %d\n", path, loaded);
        exit(-1);
    }
    img_lib_detach(library);
    return image;
}

// The image in the top-left corner of a texture-sized buffer, the caller's to free. The padding is
// left as it is: nothing samples it.
uint8_t* padToTexture(const uint8_t* pixels) {
    const size_t imageRow = logoImage.width * kPixelBytes;
    const size_t textureRow = logoImage.textureWidth * kPixelBytes;
    uint8_t* padded = static_cast<uint8_t*>(malloc(textureRow * logoImage.textureHeight));

    // Rows are taken as packed; the stride that the decoder reports is not consulted.
    for (int32_t row = 0; row < logoImage.height; ++row)
        memcpy(padded + row * textureRow, pixels + row * imageRow, imageRow);
    return padded;
}

}  // namespace

void loadLogoTexture(const char* path) {
    const img_t image = decodeImage(path);
    logoImage.width = static_cast<int32_t>(image.w);
    logoImage.height = static_cast<int32_t>(image.h);
    logoImage.textureWidth = nextPowerOfTwo(logoImage.width);
    logoImage.textureHeight = nextPowerOfTwo(logoImage.height);

    uint8_t* padded = padToTexture(image.access.direct.data);
    free(image.access.direct.data);
    glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA, logoImage.textureWidth, logoImage.textureHeight, 0,
                 GL_RGBA, GL_UNSIGNED_BYTE, padded);
    free(padded);
}

void drawLogo() {
    const uint32_t areaWidth = renderContext()->width;
    const uint32_t areaHeight = renderContext()->height;
    const float width = static_cast<float>(logoImage.width);
    const float height = static_cast<float>(logoImage.height);

    // Unsigned on purpose: a logo larger than the area wraps to far outside and is not seen.
    const float left =
        static_cast<float>(areaWidth - static_cast<uint32_t>(logoImage.width)) * 0.5f;
    const float bottom =
        static_cast<float>(areaHeight - static_cast<uint32_t>(logoImage.height)) * 0.5f;
    const float right = left + width;
    const float top = bottom + height;
    const float corners[] = {
        left,  top,    0,  //
        right, top,    0,  //
        left,  bottom, 0,  //
        right, bottom, 0,
    };
    const float texels[] = {
        0,     0,       //
        width, 0,       //
        0,     height,  //
        width, height,  //
    };
    glViewport(0, 0, static_cast<GLsizei>(areaWidth), static_cast<GLsizei>(areaHeight));
    glClear(GL_COLOR_BUFFER_BIT);

    startTexturedDraw(logoImage.textureWidth, logoImage.textureHeight, corners, texels);
    glDrawArrays(GL_TRIANGLE_STRIP, 0, 4);
    endTexturedDraw();

    (void)swapDisplayBuffers();
}
