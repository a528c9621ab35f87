// The image library, the part that decodes a file into R,G,B,A rows. Records and values are the
// platform's own.
#pragma once

#include <stdint.h>

#define IMG_ERR_OK 0
#define IMG_ERR_TRUNC 1      // the data ends too early
#define IMG_ERR_CORRUPT 2    // the data contradicts itself
#define IMG_ERR_FORMAT 3     // no codec knows this kind of data
#define IMG_ERR_NODATA 4     // an empty file
#define IMG_ERR_NOSUPPORT 5  // a kind of picture or of output that is not dealt in
#define IMG_ERR_MEM 6
#define IMG_ERR_CFG 7
#define IMG_ERR_DLL 8
#define IMG_ERR_FILE 9  // cannot be opened or read; errno tells more
#define IMG_ERR_INTR 10
#define IMG_ERR_PARM 11
#define IMG_ERR_NOTIMPL 12

// Which fields of an img_t hold something; the others may hold garbage.
#define IMG_TRANSPARENCY 0x001
#define IMG_FORMAT 0x002
#define IMG_W 0x004
#define IMG_H 0x008
#define IMG_DIRECT 0x010
#define IMG_INDIRECT 0x020
#define IMG_PALETTE 0x080
#define IMG_QUALITY 0x100

// The low seven bits of a format count the bits of a pixel.
#define IMG_FMT_PKLE 0x00000100
#define IMG_FMT_PKBE 0x00000200
#define IMG_FMT_ALPHA 0x00000400
#define IMG_FMT_RGB 0x00001000
#define IMG_FMT_RGB_ORDER 0x01000000

typedef enum {
    IMG_FMT_INVALID = 0,
    IMG_FMT_PKLE_ABGR8888 = 0x20 | IMG_FMT_PKLE | IMG_FMT_ALPHA | IMG_FMT_RGB | IMG_FMT_RGB_ORDER,
    IMG_FMT_RGBA8888 = IMG_FMT_PKLE_ABGR8888  // bytes R, G, B, A in memory, alpha not multiplied in
} img_format_t;

typedef uint32_t img_color_t;
typedef struct img_lib* img_lib_t;
typedef struct img img_t;
typedef void(img_access_f)(uintptr_t data, unsigned x, unsigned y, unsigned n, uint8_t* p,
                           unsigned rw);

struct img {
    union {
        struct {
            uint8_t* data;    // the caller's to free() when IMG_DIRECT is set
            unsigned stride;  // bytes from row to row, w * 4: rows are packed
        } direct;
        struct {
            img_access_f* access_f;
            uintptr_t data;
        } indirect;
    } access;
    unsigned w, h;
    img_format_t format;
    unsigned npalette;
    img_color_t* palette;
    unsigned flags;
    union {
        uint8_t index;
        uint16_t rgb16;
        img_color_t rgb32;
    } transparency;
    unsigned quality;
};

typedef struct img_decode_callouts img_decode_callouts_t;

#ifdef __cplusplus
extern "C" {
#endif

int img_lib_attach(img_lib_t* ilib);
void img_lib_detach(img_lib_t ilib);

// Decodes a PNG or JPEG file, told apart by content, into rows that it allocates; row 0 is the
// picture's top. `callouts` must be null. With IMG_FORMAT set, `img->format` is the wanted output:
// IMG_FMT_RGBA8888, which is the default too; any other is IMG_ERR_NOSUPPORT. Sides of 1 to 16384
// pixels; larger pictures are IMG_ERR_NOSUPPORT. IMG_ERR_OK, and then w, h, format, access.direct
// and their flags are set, or one of the errors above, with *img as it was.
int img_load_file(img_lib_t ilib, const char* path, const img_decode_callouts_t* callouts,
                  img_t* img);

#ifdef __cplusplus
}
#endif
