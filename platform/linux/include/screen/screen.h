// The screen service, the part that tells how large the displays are. There is one display: the one
// of the window. All calls return 0, or -1 with errno.
#pragma once

typedef struct _screen_context* screen_context_t;
typedef struct _screen_display* screen_display_t;

#define SCREEN_APPLICATION_CONTEXT 0

#define SCREEN_PROPERTY_SIZE 40           // of a display: two ints, width and height in pixels
#define SCREEN_PROPERTY_DISPLAY_COUNT 59  // of a context: one int
#define SCREEN_PROPERTY_DISPLAYS 60       // of a context: as many handles as the count

#ifdef __cplusplus
extern "C" {
#endif

// EINVAL for a null pointer, EPERM for other flags than SCREEN_APPLICATION_CONTEXT, EIO when no
// window can be opened. The display handles live as long as their context.
int screen_create_context(screen_context_t* pctx, int flags);
int screen_destroy_context(screen_context_t ctx);

// EINVAL for a bad handle or pointer, ENOTSUP for another property.
int screen_get_context_property_iv(screen_context_t ctx, int pname, int* param);
int screen_get_context_property_pv(screen_context_t ctx, int pname, void** param);
int screen_get_display_property_iv(screen_display_t disp, int pname, int* param);

#ifdef __cplusplus
}
#endif
