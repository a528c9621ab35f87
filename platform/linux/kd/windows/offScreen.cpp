#include "kd/windows/offScreen.h"

#include <EGL/eglext.h>

#include <algorithm>
#include <cstring>
#include <vector>

namespace {

std::vector<EGLDeviceEXT> eglDevices() {
    const auto queryDevices =
        reinterpret_cast<PFNEGLQUERYDEVICESEXTPROC>(eglGetProcAddress("eglQueryDevicesEXT"));
    EGLint count = 0;
    if (!queryDevices || queryDevices(0, nullptr, &count) != EGL_TRUE)
        return {};
    std::vector<EGLDeviceEXT> devices(static_cast<size_t>(count));
    if (queryDevices(count, devices.data(), &count) != EGL_TRUE)
        return {};
    devices.resize(static_cast<size_t>(count));
    return devices;
}

// Whether it is Mesa itself that draws on the device.
bool isSoftware(EGLDeviceEXT device) {
    const auto queryDevice = reinterpret_cast<PFNEGLQUERYDEVICESTRINGEXTPROC>(
        eglGetProcAddress("eglQueryDeviceStringEXT"));
    const char* const extensions = queryDevice ? queryDevice(device, EGL_EXTENSIONS) : nullptr;
    return extensions && std::strstr(extensions, "EGL_MESA_device_software");
}

bool isWorkingGpu(EGLDeviceEXT device) {
    if (isSoftware(device))
        return false;
    const EGLDisplay display = eglGetPlatformDisplay(EGL_PLATFORM_DEVICE_EXT, device, nullptr);
    return display != EGL_NO_DISPLAY && hasGpu(display);
}

NativeDisplay firstDevice(bool (*isWanted)(EGLDeviceEXT), const DisplaySize& size) {
    const std::vector<EGLDeviceEXT> devices = eglDevices();
    auto found = std::find_if(devices.begin(), devices.end(), isWanted);
    if (found == devices.end())
        found = std::find_if(devices.begin(), devices.end(), isSoftware);
    if (found == devices.end())
        return {EGL_PLATFORM_SURFACELESS_MESA, nullptr, size};
    return {EGL_PLATFORM_DEVICE_EXT, *found, size};
}

}  // namespace

NativeDisplay openOffScreen(const DisplaySize& size) {
    return firstDevice(isWorkingGpu, size);
}

NativeDisplay openOffScreenWithoutGpu(const DisplaySize& size) {
    return firstDevice(isSoftware, size);
}

bool hasGpu(EGLDisplay display) {
    const auto queryDisplay = reinterpret_cast<PFNEGLQUERYDISPLAYATTRIBEXTPROC>(
        eglGetProcAddress("eglQueryDisplayAttribEXT"));
    EGLAttrib device = 0;
    return queryDisplay && eglInitialize(display, nullptr, nullptr) == EGL_TRUE &&
           queryDisplay(display, EGL_DEVICE_EXT, &device) == EGL_TRUE &&
           !isSoftware(reinterpret_cast<EGLDeviceEXT>(device));
}
