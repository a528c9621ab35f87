// EGL, the OpenKODE window and thread-local storage, and the screen service: what bring-up talks
// to. Each step can be made to fail; handles are recorded by name.
#pragma once

#include <EGL/egl.h>
#include <KD/kd.h>
#include <screen/screen.h>

#include <functional>
#include <map>
#include <vector>

// The attributes of one config. An attribute that is missing fails its query.
using ConfigAttributes = std::map<EGLint, EGLint>;

// A config that the service takes, with another value for `attribute` if one is given.
ConfigAttributes fittingConfig(EGLint id);
ConfigAttributes fittingConfigBut(EGLint id, EGLint attribute, EGLint value);

struct FakeEgl {
    bool hasDisplay = true;
    EGLBoolean initializeResult = EGL_TRUE;
    std::vector<ConfigAttributes> configs = {fittingConfig(7)};
    bool configsAreNull = false;               // hands out null handles for them
    EGLBoolean countConfigsResult = EGL_TRUE;  // of eglGetConfigs without an array
    EGLBoolean fillConfigsResult = EGL_TRUE;   // of eglGetConfigs with one
    int configsMissingAtFill = 0;              // how many fewer the second call finds
    EGLBoolean bindApiResult = EGL_TRUE;
    bool createsContext = true;
    bool createsSurface = true;
    EGLBoolean makeCurrentResult = EGL_TRUE;
    EGLBoolean swapResult = EGL_TRUE;
    EGLint error = EGL_BAD_ALLOC;
    std::function<void()> atGetDisplay;
};

struct FakeKd {
    bool createsWindow = true;
    KDint propertyResult = 0;
    KDint realizeResult = 0;
    bool givesNativeWindow = true;
    KDint error = KD_EIO;
    void* threadPointer = nullptr;
};

struct FakeScreen {
    int createResult = 0;
    int countResult = 0;
    int displayCount = 1;
    int displaysResult = 0;
    int sizeResult = 0;
    int width = 1280;
    int height = 480;
};

extern FakeEgl fakeEgl;
extern FakeKd fakeKd;
extern FakeScreen fakeScreen;
