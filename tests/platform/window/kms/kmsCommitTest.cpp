// What the kernel is told so that a display shows a buffer, with an atomic driver and with an older
// one. The test stands in for the kernel's library.
#include "window/kms/kmsCommit.h"

#include <gmock/gmock.h>

#include <cerrno>
#include <map>

namespace {

using testing::ElementsAre;

constexpr uint32_t kConnector = 31, kCrtc = 41, kPlane = 51, kBuffer = 61, kEncoder = 71;
constexpr uint32_t kModeBlob = 81;
constexpr uintptr_t kFlipNumber = 91;

struct Kernel {
    std::vector<std::string> calls;         // in their order, without those that only ask
    std::map<std::string, uint64_t> state;  // of the last atomic commit: "51.5" to its value
    std::map<std::string, uint64_t> request;
    std::vector<int> atomicResults;  // of the next atomic commits; then 0
    int flipResult = 0;
    int setResult = 0;
    void* eventData = nullptr;
    int blobs = 0;  // that exist

    drmModeConnector connector{};
    drmModeEncoder encoder{};
    drmModeCrtc crtc{};
} kernel;

std::string flagText(uint32_t flags) {
    std::string text;
    if (flags & DRM_MODE_PAGE_FLIP_EVENT)
        text += " event";
    if (flags & DRM_MODE_ATOMIC_NONBLOCK)
        text += " nonblock";
    if (flags & DRM_MODE_ATOMIC_ALLOW_MODESET)
        text += " modeset";
    return text;
}

}  // namespace

extern "C" {

drmModeAtomicReqPtr drmModeAtomicAlloc() {
    kernel.request.clear();
    return reinterpret_cast<drmModeAtomicReqPtr>(&kernel.request);
}

void drmModeAtomicFree(drmModeAtomicReqPtr) {}

int drmModeAtomicAddProperty(drmModeAtomicReqPtr, uint32_t object, uint32_t property,
                             uint64_t value) {
    kernel.request[std::to_string(object) + "." + std::to_string(property)] = value;
    return 1;
}

int drmModeAtomicCommit(int, const drmModeAtomicReqPtr, uint32_t flags, void* data) {
    kernel.calls.push_back("atomic" + flagText(flags));
    kernel.state = kernel.request;
    kernel.eventData = data;
    if (kernel.atomicResults.empty())
        return 0;
    const int result = kernel.atomicResults.front();
    kernel.atomicResults.erase(kernel.atomicResults.begin());
    return result;
}

int drmModeCreatePropertyBlob(int, const void*, size_t size, uint32_t* id) {
    EXPECT_EQ(size, sizeof(drmModeModeInfo));
    ++kernel.blobs;
    *id = kModeBlob;
    return 0;
}

int drmModeDestroyPropertyBlob(int, uint32_t id) {
    EXPECT_EQ(id, kModeBlob);
    --kernel.blobs;
    return 0;
}

int drmModePageFlip(int, uint32_t crtc, uint32_t buffer, uint32_t flags, void* data) {
    EXPECT_EQ(crtc, kCrtc);
    kernel.calls.push_back("flip " + std::to_string(buffer) + flagText(flags));
    kernel.eventData = data;
    return kernel.flipResult;
}

int drmModeSetCrtc(int, uint32_t crtc, uint32_t buffer, uint32_t, uint32_t, uint32_t* connectors,
                   int count, drmModeModeInfoPtr mode) {
    EXPECT_EQ(crtc, kCrtc);
    kernel.calls.push_back("set " + std::to_string(buffer) + " on " +
                           (count == 1 ? std::to_string(connectors[0]) : "none") + " at " +
                           (mode ? std::to_string(mode->hdisplay) : "no mode"));
    return kernel.setResult;
}

drmModeConnectorPtr drmModeGetConnectorCurrent(int, uint32_t) {
    return &kernel.connector;
}
drmModeEncoderPtr drmModeGetEncoder(int, uint32_t id) {
    return id == kEncoder ? &kernel.encoder : nullptr;
}
drmModeCrtcPtr drmModeGetCrtc(int, uint32_t) {
    return &kernel.crtc;
}
void drmModeFreeConnector(drmModeConnectorPtr) {}
void drmModeFreeEncoder(drmModeEncoderPtr) {}
void drmModeFreeCrtc(drmModeCrtcPtr) {}

}  // extern "C"

namespace {

class KmsCommit : public testing::Test {
protected:
    KmsCommit() {
        kernel = {};
        output.connector = kConnector;
        output.crtc = kCrtc;
        output.plane = kPlane;
        output.mode.hdisplay = 800;
        output.mode.vdisplay = 600;
        output.ids = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15};
        card.isAtomic = true;
    }

    void runTheMode() {
        kernel.connector.encoder_id = kEncoder;
        kernel.encoder.crtc_id = kCrtc;
        kernel.crtc.mode_valid = 1;
        kernel.crtc.mode = output.mode;
    }
    CommitResult light() { return lightOutput(card, output, kBuffer, kFlipNumber); }
    CommitResult flip() { return flipOutput(card, output, kBuffer, kFlipNumber); }

    KmsCard card;
    KmsOutput output{};
};

TEST_F(KmsCommit, TakesTheModeOverWhereTheDriverLetsIt) {
    const CommitResult result = light();
    EXPECT_EQ(result.error, 0);
    EXPECT_TRUE(result.isFollowed);
    EXPECT_EQ(kernel.eventData, reinterpret_cast<void*>(kFlipNumber));
    EXPECT_THAT(kernel.calls, ElementsAre("atomic event nonblock"));
}

TEST_F(KmsCommit, SetsTheModeWhereTheDriverSaysThatItMust) {
    kernel.atomicResults = {-EINVAL, 0};
    EXPECT_EQ(light().error, 0);
    EXPECT_THAT(kernel.calls,
                ElementsAre("atomic event nonblock", "atomic event nonblock modeset"));
}

TEST_F(KmsCommit, DoesNotSetTheModeOfADisplayThatIsOnlyBusy) {
    kernel.atomicResults = {-EBUSY};
    const CommitResult result = light();
    EXPECT_EQ(result.error, EBUSY);
    EXPECT_FALSE(result.isFollowed);
    EXPECT_THAT(kernel.calls, ElementsAre("atomic event nonblock"));
}

TEST_F(KmsCommit, ReportsWhyTheModeCannotBeSet) {
    kernel.atomicResults = {-EINVAL, -EACCES};
    EXPECT_EQ(light().error, EACCES);
}

TEST_F(KmsCommit, TellsTheWholeState) {
    light();
    const std::map<std::string, uint64_t> expected{
        {"31.1", kCrtc},
        {"31.2", DRM_MODE_LINK_STATUS_GOOD},
        {"41.3", 1},
        {"41.4", kModeBlob},
        {"51.5", kBuffer},
        {"51.6", kCrtc},
        {"51.7", 0},
        {"51.8", 0},
        {"51.9", 800 << 16},
        {"51.10", 600 << 16},
        {"51.11", 0},
        {"51.12", 0},
        {"51.13", 800},
        {"51.14", 600},
        {"51.15", DRM_MODE_ROTATE_0},
    };
    EXPECT_EQ(kernel.state, expected);
    EXPECT_EQ(kernel.blobs, 0);
}

TEST_F(KmsCommit, LeavesTheLinkAloneOfADriverThatDoesNotTellIt) {
    output.ids.connectorLinkStatus = 0;
    light();
    EXPECT_EQ(kernel.state.count("31.2"), 0u);
    EXPECT_EQ(kernel.state.count("31.0"), 0u);
}

TEST_F(KmsCommit, LeavesTheRotationAloneOfAPlaneThatDoesNotTurn) {
    output.ids.planeRotation = 0;
    light();
    EXPECT_EQ(kernel.state.count("51.15"), 0u);
    EXPECT_EQ(kernel.state.count("51.0"), 0u);
}

TEST_F(KmsCommit, FlipsByThePlaneAlone) {
    EXPECT_TRUE(flip().isFollowed);
    EXPECT_THAT(kernel.calls, ElementsAre("atomic event nonblock"));
    EXPECT_EQ(kernel.state.at("51.5"), kBuffer);
    EXPECT_EQ(kernel.state.count("41.4"), 0u);
}

TEST_F(KmsCommit, AFlipNeverSetsAMode) {
    kernel.atomicResults = {-EINVAL};
    EXPECT_EQ(flip().error, EINVAL);
    EXPECT_THAT(kernel.calls, ElementsAre("atomic event nonblock"));
}

TEST_F(KmsCommit, TurnsOffWithoutWaiting) {
    darkenOutput(card, output);
    EXPECT_THAT(kernel.calls, ElementsAre("atomic nonblock modeset"));
    const std::map<std::string, uint64_t> expected{
        {"31.1", 0}, {"41.3", 0}, {"41.4", 0}, {"51.5", 0}, {"51.6", 0}};
    EXPECT_EQ(kernel.state, expected);
}

class KmsCalls : public KmsCommit {
protected:
    KmsCalls() { card.isAtomic = false; }
};

TEST_F(KmsCalls, FlipToTheFirstBufferWhereTheModeRuns) {
    runTheMode();
    EXPECT_TRUE(light().isFollowed);
    EXPECT_THAT(kernel.calls, ElementsAre("flip 61 event"));
}

TEST_F(KmsCalls, SetTheModeOfADarkDisplay) {
    const CommitResult result = light();
    EXPECT_EQ(result.error, 0);
    EXPECT_FALSE(result.isFollowed);
    EXPECT_THAT(kernel.calls, ElementsAre("set 61 on 31 at 800"));
}

TEST_F(KmsCalls, SetTheModeWhereAnotherOneRuns) {
    runTheMode();
    ++kernel.crtc.mode.clock;
    light();
    EXPECT_THAT(kernel.calls, ElementsAre("set 61 on 31 at 800"));
}

TEST_F(KmsCalls, SetTheModeWhereItRunsForAnotherDisplay) {
    runTheMode();
    kernel.connector.encoder_id = 0;
    light();
    EXPECT_THAT(kernel.calls, ElementsAre("set 61 on 31 at 800"));
}

TEST_F(KmsCalls, SetTheModeWhereTheDriverFlipsToNoSuchBuffer) {
    runTheMode();
    kernel.flipResult = -EINVAL;
    EXPECT_EQ(light().error, 0);
    EXPECT_THAT(kernel.calls, ElementsAre("flip 61 event", "set 61 on 31 at 800"));
}

TEST_F(KmsCalls, WaitForABusyDisplay) {
    runTheMode();
    kernel.flipResult = -EBUSY;
    EXPECT_EQ(light().error, EBUSY);
    EXPECT_THAT(kernel.calls, ElementsAre("flip 61 event"));
}

TEST_F(KmsCalls, ReportWhyTheModeCannotBeSet) {
    kernel.setResult = -ENOSPC;
    EXPECT_EQ(light().error, ENOSPC);
}

TEST_F(KmsCalls, FlipAndSayWhenThatFails) {
    EXPECT_TRUE(flip().isFollowed);
    kernel.flipResult = -EBUSY;
    EXPECT_EQ(flip().error, EBUSY);
    EXPECT_FALSE(flip().isFollowed);
}

TEST_F(KmsCalls, TurnOff) {
    darkenOutput(card, output);
    EXPECT_THAT(kernel.calls, ElementsAre("set 0 on none at no mode"));
}

}  // namespace
