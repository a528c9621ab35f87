#include "display/displayable.h"

#include <GLES2/gl2.h>
#include <KD/kd.h>
#include <screen/screen.h>

#include <cstdio>
#include <cstdlib>
#include <new>

#include "display/displayLog.h"

namespace {

CDisplayable* theDisplayable;

constexpr int kMostDisplays = 16;
constexpr int32_t kFallbackWidth = 1280;
constexpr int32_t kFallbackHeight = 480;

// The window's identification string, a platform property outside the OpenKODE core.
constexpr KDint kWindowPropertyId = 1002;
const char* const kWindowId = "16";

// A config fits if every test holds; the first that fails ends the walk through the table.
struct ConfigTest {
    EGLint attribute;
    EGLint mask;  // bits that are looked at
    EGLint value;
};

constexpr EGLint kAllBits = -1;

constexpr ConfigTest kConfigTests[] = {
    {EGL_SURFACE_TYPE, EGL_WINDOW_BIT, EGL_WINDOW_BIT},
    {EGL_RENDERABLE_TYPE, EGL_OPENGL_ES2_BIT, EGL_OPENGL_ES2_BIT},
    {EGL_RED_SIZE, kAllBits, 8},  // exact: 10-bit colour is refused
    {EGL_GREEN_SIZE, kAllBits, 8},
    {EGL_BLUE_SIZE, kAllBits, 8},
    {EGL_ALPHA_SIZE, kAllBits, 8},
};

// Queries are not checked: a failing one leaves `*value` as the query before it did.
bool configFits(EGLDisplay display, EGLConfig config, EGLint* value) {
    for (const ConfigTest& test : kConfigTests) {
        eglGetConfigAttrib(display, config, test.attribute, value);
        if ((*value & test.mask) != test.value)
            return false;
    }
    return true;
}

// The index of the first config that fits, its EGL_CONFIG_ID in *id; -1 if none does.
EGLint firstFittingConfig(EGLDisplay display, const EGLConfig* configs, EGLint count, EGLint* id) {
    EGLint value = 0;
    for (EGLint i = 0; i < count; ++i) {
        eglGetConfigAttrib(display, configs[i], EGL_CONFIG_ID, id);
        if (configFits(display, configs[i], &value))
            return i;
    }
    return -1;
}

// The size of the first of `count` displays into *width and *height.
void readFirstDisplaySize(screen_context_t context, int count, int32_t* width, int32_t* height) {
    screen_display_t* displays =
        static_cast<screen_display_t*>(malloc(count * sizeof(screen_display_t)));
    if (!displays) {
        displayError("ERROR: cant allocate mem for displays\n");
        return;
    }

    if (screen_get_context_property_pv(context, SCREEN_PROPERTY_DISPLAYS,
                                       reinterpret_cast<void**>(displays)) != 0) {
        displayError("ERROR: SCREEN_PROPERTY_DISPLAYS\n");
        free(displays);
        return;
    }
    int size[2] = {0, 0};
    if (screen_get_display_property_iv(displays[0], SCREEN_PROPERTY_SIZE, size) != 0) {
        displayError("ERROR: SCREEN_PROPERTY_SIZE\n");
        *width = kFallbackWidth;
        *height = kFallbackHeight;
    } else {
        displayLog("screen resolution fetched: [%dx%d]\n", size[0], size[1]);
        *width = size[0];
        *height = size[1];
    }
    free(displays);
}

}  // namespace

CDisplayable* CDisplayable::getInstance() {
    if (!theDisplayable)
        theDisplayable = new (std::nothrow) CDisplayable;
    return theDisplayable;
}

CDisplayable::CDisplayable()
    : initialised(false), display(nullptr), surface(nullptr), width(0), height(0) {
    sem_init(&semaphore, 0, 0);
}

CDisplayable::~CDisplayable() {}

uint32_t CDisplayable::getWidth() const {
    return static_cast<uint32_t>(width);
}

uint32_t CDisplayable::getHeight() const {
    return static_cast<uint32_t>(height);
}

void CDisplayable::fetchScreenSize() {
    if (width != 0 && height != 0)
        return;

    screen_context_t context = nullptr;
    int count = 0;
    if (screen_create_context(&context, SCREEN_APPLICATION_CONTEXT) != 0) {
        displayError("ERROR: screen_create_context\n");
    } else {
        (void)screen_get_context_property_iv(context, SCREEN_PROPERTY_DISPLAY_COUNT, &count);
        // Only this: a negative count passes and ends at the allocation.
        if (count == 0 || count > kMostDisplays)
            displayError("ERROR: SCREEN_PROPERTY_DISPLAY_COUNT\n");
        else
            readFirstDisplaySize(context, count, &width, &height);
    }

    if (context)
        screen_destroy_context(context);
}

bool CDisplayable::openEglDisplay() {
    displayLog("getting display ...\n");
    display = eglGetDisplay(EGL_DEFAULT_DISPLAY);
    if (display == EGL_NO_DISPLAY) {
        displayError("Error: can't get EGL display.\n");
        return false;
    }

    displayLog("initializing egl...\n");
    if (eglInitialize(display, nullptr, nullptr) != EGL_TRUE) {
        displayError("Error: can't init EGL display.\n");
        return false;
    }
    displayLog("egl initialized.\n");
    return true;
}

bool CDisplayable::chooseConfig(EGLConfig* chosen) {
    displayLog("Get egl configs\n");
    EGLint count = 0;
    if (eglGetConfigs(display, nullptr, 0, &count) != EGL_TRUE || count == 0) {
        displayError("Error: can't get EGL configs.\n");
        eglTerminate(display);
        display = nullptr;
        return false;
    }

    EGLConfig* configs = static_cast<EGLConfig*>(malloc(count * sizeof(EGLConfig)));
    if (!configs) {
        displayError("could not allocate memory for %d EGL configs\n", count);
        return false;
    }
    if (eglGetConfigs(display, configs, count, &count) == EGL_FALSE) {
        displayError("can't get %d configs\n", count);
        free(configs);
        return false;
    }

    EGLint id = 0;
    const EGLint index = firstFittingConfig(display, configs, count, &id);
    *chosen = index < 0 ? nullptr : configs[index];
    free(configs);
    if (index >= 0)
        displayLog("choose config %d\n", id);
    if (!*chosen) {
        displayError("ERROR: can't choose config\n");
        return false;
    }
    return true;
}

bool CDisplayable::createContext(EGLConfig config, EGLContext* context) {
    const EGLint attributes[] = {EGL_CONTEXT_CLIENT_VERSION, 2, EGL_NONE, EGL_NONE};

    eglBindAPI(EGL_OPENGL_ES_API);
    displayLog("Creating context...\n");
    *context = eglCreateContext(display, config, EGL_NO_CONTEXT, attributes);
    if (!*context) {
        displayError("ERROR: can't create EGL context.\n");
        eglTerminate(display);
        display = nullptr;
        return false;
    }
    return true;
}

bool CDisplayable::createWindow(EGLConfig config, EGLNativeWindowType* nativeWindow) {
    displayLog("Context got. Creating KD window...\n");
    KDWindow* window = kdCreateWindow(display, config, nullptr);
    if (!window) {
        displayError("Error: kdCreateWindow() failed with error: %d\n", kdGetError());
        return false;
    }

    // No implementation is bound to honour a property; the drawable's own size decides later.
    const KDint32 size[2] = {width, height};
    kdSetWindowPropertycv(window, kWindowPropertyId, kWindowId);
    kdSetWindowPropertycv(window, KD_WINDOWPROPERTY_CAPTION, kWindowId);
    kdSetWindowPropertyiv(window, KD_WINDOWPROPERTY_SIZE, size);

    displayLog("kdWindow got [%dx%d]. Realizing native window...\n", width, height);
    *nativeWindow = 0;
    if (kdRealizeWindow(window, nativeWindow) != 0 || *nativeWindow == 0) {
        displayError("Error: kdRealizeWindow() failed with error: %d\n", kdGetError());
        return false;
    }
    return true;
}

bool CDisplayable::createSurface(EGLConfig config, EGLNativeWindowType nativeWindow,
                                 EGLContext context) {
    displayLog("Window created.  Creating surface ...\n");
    surface = eglCreateWindowSurface(display, config, nativeWindow, nullptr);
    if (!surface) {
        displayError("eglCreateWindowSurface failed with error: 0x%0X\n", eglGetError());
        return false;
    }

    displayLog("Surface created.  Make current\n");
    if (eglMakeCurrent(display, surface, surface, context) != EGL_TRUE) {
        displayError("Error: can't make current surface. err=%d\n", eglGetError());
        return false;
    }
    return true;
}

void CDisplayable::readDrawableSize() {
    displayLog("Getting viewport size...\n");
    GLint viewport[4] = {};
    glGetIntegerv(GL_VIEWPORT, viewport);
    displayLog("ok\n");
    displayLog("Viewport size got (%d, %d, %d, %d)\n", viewport[0], viewport[1], viewport[2],
               viewport[3]);
    width = viewport[2];
    height = viewport[3];
}

int32_t CDisplayable::init() {
    displayLog("CDisplayable init()\n");
    if (initialised)
        return 1;

    EGLConfig config = nullptr;
    EGLContext context = EGL_NO_CONTEXT;
    if (!openEglDisplay() || !chooseConfig(&config) || !createContext(config, &context))
        return 0;

    fetchScreenSize();

    EGLNativeWindowType nativeWindow = 0;
    if (!createWindow(config, &nativeWindow) || !createSurface(config, nativeWindow, context))
        return 0;

    readDrawableSize();
    return 1;
}

int32_t CDisplayable::swapBuffers() {
    if (eglSwapBuffers(display, surface) != EGL_TRUE) {
        fprintf(stderr, "Error: can't swap buffers.\n");
        return 0;
    }
    return 1;
}

void CDisplayable::evtWindowCreated(unsigned long id) {
    printf("evtWindowCreated called id=%lu\n", id);
}

void CDisplayable::evtWindowResized(int32_t code, int32_t, int32_t, int32_t, int32_t,
                                    int32_t newWidth, int32_t newHeight) {
    if (code != 0)
        return;
    width = newWidth;
    height = newHeight;
    sem_post(&semaphore);
}

int32_t swapDisplayBuffers() {
    return CDisplayable::getInstance()->swapBuffers();
}
