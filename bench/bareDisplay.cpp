// The least that a program has to do for a picture on a display: it opens the first card, takes the
// preferred mode of the first connected display, fills one buffer and shows it. Then it stays. What
// a console's start and memory are measured against.
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>
#include <xf86drm.h>
#include <xf86drmMode.h>

#include <cstdint>
#include <cstdio>
#include <cstring>

namespace {

constexpr int kColourByte = 0x40;  // of every byte of every pixel

// Null if nothing is connected. The caller never frees it: the process keeps the display.
drmModeConnector* firstConnected(int card, const drmModeRes& resources) {
    for (int i = 0; i < resources.count_connectors; ++i) {
        drmModeConnector* const connector = drmModeGetConnector(card, resources.connectors[i]);
        if (connector && connector->connection == DRM_MODE_CONNECTED && connector->count_modes > 0)
            return connector;
        drmModeFreeConnector(connector);
    }
    return nullptr;
}

// The framebuffer's id; 0 after a failure.
uint32_t filledBuffer(int card, uint32_t width, uint32_t height) {
    uint32_t handle = 0, pitch = 0, id = 0;
    uint64_t size = 0, offset = 0;
    if (drmModeCreateDumbBuffer(card, width, height, 32, 0, &handle, &pitch, &size) != 0 ||
        drmModeMapDumbBuffer(card, handle, &offset) != 0)
        return 0;
    void* const pixels =
        mmap(nullptr, size, PROT_WRITE, MAP_SHARED, card, static_cast<off_t>(offset));
    if (pixels == MAP_FAILED)
        return 0;
    std::memset(pixels, kColourByte, size);
    return drmModeAddFB(card, width, height, 24, 32, pitch, handle, &id) == 0 ? id : 0;
}

bool show(int card) {
    drmModeRes* const resources = drmModeGetResources(card);
    drmModeConnector* const connector = resources ? firstConnected(card, *resources) : nullptr;
    if (!connector || resources->count_crtcs == 0)
        return false;
    drmModeModeInfo* const mode = &connector->modes[0];
    const uint32_t buffer = filledBuffer(card, mode->hdisplay, mode->vdisplay);
    return buffer != 0 && drmModeSetCrtc(card, resources->crtcs[0], buffer, 0, 0,
                                         &connector->connector_id, 1, mode) == 0;
}

}  // namespace

int main() {
    const int card = open("/dev/dri/card0", O_RDWR | O_CLOEXEC);
    if (card < 0 || !show(card)) {
        std::perror("bareDisplay: no picture on /dev/dri/card0");
        return 1;
    }
    for (;;)
        pause();
}
