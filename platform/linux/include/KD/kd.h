// OpenKODE Core, the part that the service uses: its entry point, thread-local storage, the error
// of the thread, one window. Values and prototypes are the platform's own.
#pragma once

#include <EGL/egl.h>
#include <stddef.h>
#include <stdint.h>

#define KD_API
#define KD_APIENTRY
#define KD_WINDOW_SUPPORTED

typedef char KDchar;
typedef int KDint;
typedef unsigned int KDuint;
typedef int32_t KDint32;
typedef uint32_t KDuint32;
typedef long long KDint64;
typedef KDint KDboolean;
typedef size_t KDsize;
typedef ptrdiff_t KDssize;
typedef struct KDWindow KDWindow;

#define KD_TRUE 1
#define KD_FALSE 0
#ifdef __cplusplus
const KDint KD_NULL = 0;
#else
#define KD_NULL ((void*)0)
#endif

#define KD_EACCES 1
#define KD_EAGAIN 5
#define KD_EBADF 7
#define KD_EINVAL 17
#define KD_EIO 18
#define KD_ENOENT 24
#define KD_ENOMEM 25
#define KD_ENOSYS 27
#define KD_EOPNOTSUPP 31
#define KD_EPERM 33

#define KD_WINDOWPROPERTY_SIZE 66     // two KDint32: width, height; 0 x 0 leaves it to the display
#define KD_WINDOWPROPERTY_CAPTION 69  // UTF-8 text

#ifdef __cplusplus
extern "C" {
#endif

// Defined by the program; its value becomes the exit status. argv[argc] is null.
KD_API KDint KD_APIENTRY kdMain(KDint argc, const KDchar* const* argv);

// What the last failed kd call of this thread reported, 0 before the first. Reading keeps it.
KD_API KDint KD_APIENTRY kdGetError(void);

// One pointer a thread, borrowed, null at first.
KD_API void KD_APIENTRY kdSetTLS(void* pointer);
KD_API void* KD_APIENTRY kdGetTLS(void);

// The one window of the process, owned by this library until the process ends. Null with KD_EPERM
// for a second one, KD_EINVAL for a display or config that EGL does not know, KD_EIO when there is
// no display to show it on.
KD_API KDWindow* KD_APIENTRY kdCreateWindow(EGLDisplay display, EGLConfig config,
                                            void* eventuserptr);

// 0, or -1 with KD_EINVAL (bad window, pointer or value), KD_EOPNOTSUPP (unknown property),
// KD_EPERM (the window is realised: properties make its first look). Text is copied.
KD_API KDint KD_APIENTRY kdSetWindowPropertyiv(KDWindow* window, KDint pname, const KDint32* param);
KD_API KDint KD_APIENTRY kdSetWindowPropertycv(KDWindow* window, KDint pname, const KDchar* param);

// Puts the window on the display and stores what eglCreateWindowSurface wants. 0, or -1 with
// KD_EINVAL, KD_EPERM (realised already), KD_EIO, KD_ENOMEM.
KD_API KDint KD_APIENTRY kdRealizeWindow(KDWindow* window, EGLNativeWindowType* nativewindow);

#ifdef __cplusplus
}
#endif
