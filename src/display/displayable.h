// The connection to the display: brings up the window surface with a current OpenGL ES 2.0 context
// and presents finished frames. All of it, and every GL call of the program, belongs to the thread
// that called init().
#pragma once

#include <EGL/egl.h>
#include <semaphore.h>

#include <cstdint>

class CDisplayable {
public:
    // The one instance, made on first use and never destroyed. Not locked.
    static CDisplayable* getInstance();

    // Brings the display up and makes the context current on this thread. Prints its progress and
    // what fails; 1 = success, 0 = failure with whatever was made left for the process's end.
    virtual int32_t init();

    // Presents the frame. 1 = success, 0 = failure (printed; the frame is lost).
    virtual int32_t swapBuffers();

    // For whatever delivers a window's events; nothing in the program calls these two. The first
    // only prints the id, to standard output.
    virtual void evtWindowCreated(unsigned long id);

    // A `code` of 0 stores the new size in pixels and posts the semaphore; any other does nothing.
    virtual void evtWindowResized(int32_t code, int32_t a, int32_t b, int32_t c, int32_t d,
                                  int32_t width, int32_t height);

    virtual ~CDisplayable();

    // Pixels; 0 = not known yet. After init() the size of the drawable.
    uint32_t getWidth() const;
    uint32_t getHeight() const;

protected:
    CDisplayable();

    // Fills width and height from the first display of the screen service, unless both are known.
    // A display that does not tell its size counts as 1280 x 480; any other failure leaves them.
    void fetchScreenSize();

    sem_t semaphore;   // posted by evtWindowResized; nothing waits for it
    bool initialised;  // never set by the program; while it is, init() does nothing
    EGLDisplay display;
    EGLSurface surface;
    int32_t width;
    int32_t height;

private:
    bool openEglDisplay();
    bool chooseConfig(EGLConfig* chosen);
    bool createContext(EGLConfig config, EGLContext* context);
    bool createWindow(EGLConfig config, EGLNativeWindowType* nativeWindow);
    bool createSurface(EGLConfig config, EGLNativeWindowType nativeWindow, EGLContext context);
    void readDrawableSize();
};

// swapBuffers() of the one instance.
int32_t swapDisplayBuffers();
