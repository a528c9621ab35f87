// Preloaded into the console of an emulated machine, makes the machine's driver another one: one
// that takes no whole states at once, where VELKARIS_TEST_DRIVER says "older". The real driver does
// what the console asks of it then. Each call that only such a driver gets is told on standard
// error, once.
#include <dlfcn.h>
#include <xf86drm.h>
#include <xf86drmMode.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

bool isDriver(const char* word) {
    const char* const words = std::getenv("VELKARIS_TEST_DRIVER");
    return words && std::strstr(words, word);
}

template <typename Call>
Call* real(Call*, const char* name) {
    return reinterpret_cast<Call*>(dlsym(RTLD_NEXT, name));
}

void tell(const char* call, bool* told) {
    if (!*told)
        std::fprintf(stderr, "other driver: %s\n", call);
    *told = true;
}

}  // namespace

extern "C" {

int drmSetClientCap(int fd, uint64_t capability, uint64_t value) {
    if (capability == DRM_CLIENT_CAP_ATOMIC && isDriver("older"))
        return -EOPNOTSUPP;
    return real(drmSetClientCap, "drmSetClientCap")(fd, capability, value);
}

int drmModePageFlip(int fd, uint32_t crtc, uint32_t buffer, uint32_t flags, void* data) {
    static bool told = false;
    tell("drmModePageFlip", &told);
    return real(drmModePageFlip, "drmModePageFlip")(fd, crtc, buffer, flags, data);
}

}  // extern "C"
