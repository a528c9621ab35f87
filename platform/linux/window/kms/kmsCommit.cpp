#include "window/kms/kmsCommit.h"

#include <xf86drm.h>

#include <cerrno>

namespace {

using AtomicRequest = std::unique_ptr<drmModeAtomicReq, Release<drmModeAtomicFree>>;

constexpr uint32_t kFlip = DRM_MODE_ATOMIC_NONBLOCK | DRM_MODE_PAGE_FLIP_EVENT;

// A mode as the kernel takes it: as a blob, for as long as a commit needs it.
class ModeBlob {
public:
    ModeBlob(const KmsCard& card, const drmModeModeInfo& mode) : fd_(card.fd.get()) {
        if (drmModeCreatePropertyBlob(fd_, &mode, sizeof mode, &blob_) != 0)
            blob_ = 0;
    }
    ModeBlob(const ModeBlob&) = delete;
    ModeBlob& operator=(const ModeBlob&) = delete;
    ~ModeBlob() {
        if (blob_ != 0)
            drmModeDestroyPropertyBlob(fd_, blob_);
    }
    uint32_t id() const { return blob_; }

private:
    int fd_;
    uint32_t blob_ = 0;
};

void* eventData(uintptr_t flipNumber) {
    return reinterpret_cast<void*>(flipNumber);
}

void addPlane(drmModeAtomicReq* request, const KmsOutput& output, uint32_t buffer) {
    constexpr int kSourceUnits = 16;  // 16.16 fixed point
    const KmsPropertyIds& ids = output.ids;
    const auto add = [&](uint32_t property, uint64_t value) {
        drmModeAtomicAddProperty(request, output.plane, property, value);
    };
    const uint64_t width = output.mode.hdisplay, height = output.mode.vdisplay;
    add(ids.planeFb, buffer);
    add(ids.planeCrtc, output.crtc);
    add(ids.planeSrcX, 0);
    add(ids.planeSrcY, 0);
    add(ids.planeSrcW, width << kSourceUnits);
    add(ids.planeSrcH, height << kSourceUnits);
    add(ids.planeCrtcX, 0);
    add(ids.planeCrtcY, 0);
    add(ids.planeCrtcW, width);
    add(ids.planeCrtcH, height);
    // The text console may have left it turned.
    if (ids.planeRotation != 0)
        add(ids.planeRotation, DRM_MODE_ROTATE_0);
}

int commit(const KmsCard& card, drmModeAtomicReq* request, uint32_t flags, uintptr_t flipNumber) {
    const int result = drmModeAtomicCommit(card.fd.get(), request, flags, eventData(flipNumber));
    return result == 0 ? 0 : -result;
}

CommitResult lightAtomically(const KmsCard& card, const KmsOutput& output, uint32_t buffer,
                             uintptr_t flipNumber) {
    const ModeBlob mode(card, output.mode);
    const AtomicRequest request(drmModeAtomicAlloc());
    if (mode.id() == 0 || !request)
        return {ENOMEM, false};
    const KmsPropertyIds& ids = output.ids;
    drmModeAtomicAddProperty(request.get(), output.connector, ids.connectorCrtc, output.crtc);
    if (ids.connectorLinkStatus != 0)
        drmModeAtomicAddProperty(request.get(), output.connector, ids.connectorLinkStatus,
                                 DRM_MODE_LINK_STATUS_GOOD);
    drmModeAtomicAddProperty(request.get(), output.crtc, ids.crtcActive, 1);
    drmModeAtomicAddProperty(request.get(), output.crtc, ids.crtcMode, mode.id());
    addPlane(request.get(), output, buffer);

    int error = commit(card, request.get(), kFlip, flipNumber);
    if (error == EINVAL)
        error = commit(card, request.get(), kFlip | DRM_MODE_ATOMIC_ALLOW_MODESET, flipNumber);
    return {error, error == 0};
}

CommitResult flipAtomically(const KmsCard& card, const KmsOutput& output, uint32_t buffer,
                            uintptr_t flipNumber) {
    const AtomicRequest request(drmModeAtomicAlloc());
    if (!request)
        return {ENOMEM, false};
    addPlane(request.get(), output, buffer);
    const int error = commit(card, request.get(), kFlip, flipNumber);
    return {error, error == 0};
}

void darkenAtomically(const KmsCard& card, const KmsOutput& output) {
    const AtomicRequest request(drmModeAtomicAlloc());
    if (!request)
        return;
    drmModeAtomicAddProperty(request.get(), output.connector, output.ids.connectorCrtc, 0);
    drmModeAtomicAddProperty(request.get(), output.crtc, output.ids.crtcActive, 0);
    drmModeAtomicAddProperty(request.get(), output.crtc, output.ids.crtcMode, 0);
    drmModeAtomicAddProperty(request.get(), output.plane, output.ids.planeFb, 0);
    drmModeAtomicAddProperty(request.get(), output.plane, output.ids.planeCrtc, 0);
    constexpr uint32_t kFlags = DRM_MODE_ATOMIC_NONBLOCK | DRM_MODE_ATOMIC_ALLOW_MODESET;
    commit(card, request.get(), kFlags, 0);
}

CommitResult flipByCall(const KmsCard& card, const KmsOutput& output, uint32_t buffer,
                        uintptr_t flipNumber) {
    const int result = drmModePageFlip(card.fd.get(), output.crtc, buffer, DRM_MODE_PAGE_FLIP_EVENT,
                                       eventData(flipNumber));
    return {-result, result == 0};
}

bool runsItsMode(const KmsCard& card, const KmsOutput& output) {
    const DrmConnector connector(drmModeGetConnectorCurrent(card.fd.get(), output.connector));
    const DrmEncoder encoder(connector ? drmModeGetEncoder(card.fd.get(), connector->encoder_id)
                                       : nullptr);
    const DrmCrtc crtc(drmModeGetCrtc(card.fd.get(), output.crtc));
    return encoder && encoder->crtc_id == output.crtc && crtc && crtc->mode_valid &&
           isSameTiming(crtc->mode, output.mode);
}

CommitResult lightByCalls(const KmsCard& card, const KmsOutput& output, uint32_t buffer,
                          uintptr_t flipNumber) {
    if (runsItsMode(card, output)) {
        const CommitResult flipped = flipByCall(card, output, buffer, flipNumber);
        if (flipped.error == 0 || flipped.error == EBUSY)
            return flipped;
    }
    uint32_t connector = output.connector;
    drmModeModeInfo mode = output.mode;
    const int result =
        drmModeSetCrtc(card.fd.get(), output.crtc, buffer, 0, 0, &connector, 1, &mode);
    return {-result, false};
}

}  // namespace

CommitResult lightOutput(const KmsCard& card, const KmsOutput& output, uint32_t buffer,
                         uintptr_t flipNumber) {
    return card.isAtomic ? lightAtomically(card, output, buffer, flipNumber)
                         : lightByCalls(card, output, buffer, flipNumber);
}

CommitResult flipOutput(const KmsCard& card, const KmsOutput& output, uint32_t buffer,
                        uintptr_t flipNumber) {
    return card.isAtomic ? flipAtomically(card, output, buffer, flipNumber)
                         : flipByCall(card, output, buffer, flipNumber);
}

void darkenOutput(const KmsCard& card, const KmsOutput& output) {
    if (card.isAtomic)
        darkenAtomically(card, output);
    else
        drmModeSetCrtc(card.fd.get(), output.crtc, 0, 0, 0, nullptr, 0, nullptr);
}
