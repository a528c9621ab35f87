#include "renderer/gl/offScreenContext.h"

#include <algorithm>
#include <cstring>
#include <vector>

#include "report/layerError.h"

namespace {

// Of EGL and its extensions, what the service does not use.
constexpr EGLint kEglPbufferBit = 0x0001;
constexpr EGLint kEglExtensions = 0x3055;
constexpr EGLint kEglHeight = 0x3056;
constexpr EGLint kEglWidth = 0x3057;
constexpr EGLenum kEglPlatformDevice = 0x313F;       // EGL_EXT_platform_device
constexpr EGLenum kEglPlatformSurfaceless = 0x31DD;  // EGL_MESA_platform_surfaceless
constexpr EGLint kEglDrmRenderNodeFile = 0x3377;     // EGL_EXT_device_drm_render_node

using Device = void*;
using GetPlatformDisplay = EGLDisplay (*)(EGLenum platform, void* native, const EGLint* attributes);
using QueryDevices = EGLBoolean (*)(EGLint size, Device* devices, EGLint* count);
using QueryDeviceString = const char* (*)(Device device, EGLint name);

template <typename Call>
Call extensionCall(const GlLibrary::Egl& egl, const char* name) {
    return reinterpret_cast<Call>(egl.GetProcAddress(name));
}

std::vector<Device> devices(const GlLibrary::Egl& egl) {
    const auto queryDevices = extensionCall<QueryDevices>(egl, "eglQueryDevicesEXT");
    EGLint count = 0;
    if (!queryDevices || queryDevices(0, nullptr, &count) != EGL_TRUE)
        return {};
    std::vector<Device> all(static_cast<size_t>(count));
    if (queryDevices(count, all.data(), &count) != EGL_TRUE)
        return {};
    all.resize(static_cast<size_t>(count));
    return all;
}

struct Platform {
    EGLenum name;
    void* native;
};

// In the order in which they are tried.
std::vector<Platform> platforms(const GlLibrary::Egl& egl) {
    const auto queryString = extensionCall<QueryDeviceString>(egl, "eglQueryDeviceStringEXT");
    const auto offers = [&](Device device, const char* extension) {
        const char* const all = queryString ? queryString(device, kEglExtensions) : nullptr;
        return all && std::strstr(all, extension);
    };
    const std::vector<Device> known = devices(egl);
    std::vector<Platform> found;
    for (Device device : known) {
        if (offers(device, "EGL_EXT_device_drm_render_node") &&
            queryString(device, kEglDrmRenderNodeFile))
            found.push_back({kEglPlatformDevice, device});
    }
    for (Device device : known) {
        if (offers(device, "EGL_MESA_device_software"))
            found.push_back({kEglPlatformDevice, device});
    }
    found.push_back({kEglPlatformSurfaceless, nullptr});
    return found;
}

// The surface is there because a context needs one to be current; nothing is drawn on it.
bool makeCurrent(const GlLibrary::Egl& egl, EGLDisplay display) {
    const EGLint wanted[] = {EGL_SURFACE_TYPE, kEglPbufferBit, EGL_RENDERABLE_TYPE,
                             EGL_OPENGL_ES2_BIT, EGL_NONE};
    const EGLint version[] = {EGL_CONTEXT_CLIENT_VERSION, 2, EGL_NONE};
    const EGLint smallest[] = {kEglWidth, 1, kEglHeight, 1, EGL_NONE};
    EGLConfig config = nullptr;
    EGLint count = 0;
    if (egl.BindAPI(EGL_OPENGL_ES_API) != EGL_TRUE ||
        egl.ChooseConfig(display, wanted, &config, 1, &count) != EGL_TRUE || count != 1)
        return false;
    const EGLContext context = egl.CreateContext(display, config, EGL_NO_CONTEXT, version);
    const EGLSurface surface = egl.CreatePbufferSurface(display, config, smallest);
    return context != EGL_NO_CONTEXT && surface != EGL_NO_SURFACE &&
           egl.MakeCurrent(display, surface, surface, context) == EGL_TRUE;
}

bool tryPlatform(const GlLibrary::Egl& egl, GetPlatformDisplay getDisplay,
                 const Platform& platform) {
    const EGLDisplay display = getDisplay(platform.name, platform.native, nullptr);
    if (display == EGL_NO_DISPLAY || egl.Initialize(display, nullptr, nullptr) != EGL_TRUE)
        return false;
    if (makeCurrent(egl, display))
        return true;
    egl.Terminate(display);
    return false;
}

}  // namespace

bool makeOffScreenContext(const GlLibrary::Egl& egl) {
    const auto getDisplay = extensionCall<GetPlatformDisplay>(egl, "eglGetPlatformDisplayEXT");
    const std::vector<Platform> all = platforms(egl);
    if (getDisplay && std::any_of(all.begin(), all.end(), [&](const Platform& each) {
            return tryPlatform(egl, getDisplay, each);
        }))
        return true;
    layerError("gl: the EGL library cannot draw without a window");
    return false;
}
