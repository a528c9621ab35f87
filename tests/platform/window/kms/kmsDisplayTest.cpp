// How frames reach a display: in turn, the newest first, none while another is on its way, and of
// each only what changed. The test stands in for the kernel, which takes commits and sends flip
// events.
#include "window/kms/kmsDisplay.h"

#include <drm_fourcc.h>
#include <gmock/gmock.h>

#include <cerrno>
#include <cstdarg>

#include "platform/support/drawnPicture.h"
#include "platform/window/kms/dumbBuffers.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr PixelSize kSize{8, 6};

struct Kernel {
    std::vector<std::string> calls;  // "light 1", "flip 2", "dark": with the colour of the picture
    std::vector<uint32_t> buffers;   // of these calls
    std::vector<uintptr_t> events;   // numbers of the flips that it has taken
    int lightError = 0;
    int flipError = 0;
    bool sendsEvents = true;
    OutputState state = OutputState::connected;
    int complaints = 0;
} kernel;

uint32_t colourOf(uint32_t buffer) {
    return dumbBuffers().valueAt(buffer, 0) & 0xffffff;
}

CommitResult take(const char* call, uint32_t buffer, uintptr_t number, int error) {
    kernel.calls.push_back(call + std::to_string(colourOf(buffer)));
    kernel.buffers.push_back(buffer);
    if (error != 0)
        return {error, false};
    kernel.events.push_back(number);
    return {0, kernel.sendsEvents};
}

}  // namespace

CommitResult lightOutput(const KmsCard&, const KmsOutput&, uint32_t buffer, uintptr_t number) {
    return take("light ", buffer, number, kernel.lightError);
}

CommitResult flipOutput(const KmsCard&, const KmsOutput&, uint32_t buffer, uintptr_t number) {
    return take("flip ", buffer, number, kernel.flipError);
}

void darkenOutput(const KmsCard&, const KmsOutput&) {
    kernel.calls.push_back("dark");
}

OutputState outputState(const KmsCard&, const KmsOutput&) {
    return kernel.state;
}

void layerError(const char*, ...) {
    ++kernel.complaints;
}

namespace {

KmsOutput outputOf(const PixelSize& size, uint32_t format, Rotation rotation) {
    KmsOutput output{};
    output.mode.hdisplay = static_cast<uint16_t>(size.width);
    output.mode.vdisplay = static_cast<uint16_t>(size.height);
    output.format = format;
    output.rotation = rotation;
    return output;
}

class KmsFlips : public testing::Test {
protected:
    KmsFlips() {
        kernel = {};
        resetDumbBuffers();
        plugIn(outputOf(kSize, DRM_FORMAT_XRGB8888, Rotation::by0));
    }

    void plugIn(const KmsOutput& output) {
        display = std::make_unique<KmsDisplay>(
            std::make_shared<KmsCard>(KmsCard{"card0", dumbBuffers().openCard(), true}), output);
    }

    // Draws a frame of that colour and shows it.
    void show(uint32_t colour) {
        picture.drawAll(colour);
        display->show(picture);
    }
    void showAgain() {
        picture.addFrameLikeTheLast();
        display->show(picture);
    }
    void sendLastEvent() { display->flipped(kernel.events.back()); }
    void showInTurn(uint32_t colour) {
        show(colour);
        sendLastEvent();
    }

    DrawnPicture picture{kSize};
    std::unique_ptr<KmsDisplay> display;
};

TEST_F(KmsFlips, TheFirstFrameLightsTheDisplayAndTheNextIsFlippedTo) {
    showInTurn(1);
    showInTurn(2);
    showInTurn(3);
    EXPECT_THAT(kernel.calls, ElementsAre("light 1", "flip 2", "flip 3"));
}

TEST_F(KmsFlips, TwoBuffersTakeTurns) {
    showInTurn(1);
    showInTurn(2);
    showInTurn(3);
    EXPECT_THAT(kernel.buffers, ElementsAre(1, 2, 1));
    EXPECT_EQ(dumbBuffers().created, 2);
}

TEST_F(KmsFlips, AFrameWaitsForTheOneUnderWay) {
    show(1);
    show(2);
    EXPECT_THAT(kernel.calls, ElementsAre("light 1"));
    sendLastEvent();
    EXPECT_THAT(kernel.calls, ElementsAre("light 1", "flip 2"));
}

TEST_F(KmsFlips, OfTheWaitingFramesTheNewestIsShown) {
    show(1);
    show(2);
    show(3);
    sendLastEvent();
    EXPECT_THAT(kernel.calls, ElementsAre("light 1", "flip 3"));
}

TEST_F(KmsFlips, ABufferIsNotWrittenUntilTheNextOneIsOnTheDisplay) {
    showInTurn(1);
    show(2);
    show(3);
    EXPECT_EQ(colourOf(1), 1u);
    EXPECT_EQ(colourOf(2), 2u);
    sendLastEvent();
    EXPECT_EQ(colourOf(1), 3u);
    EXPECT_EQ(colourOf(2), 2u);
}

TEST_F(KmsFlips, AFrameWithoutChangeCostsNothing) {
    showInTurn(1);
    picture.taken.clear();
    showAgain();
    showAgain();
    EXPECT_THAT(kernel.calls, ElementsAre("light 1"));
    EXPECT_THAT(picture.taken, IsEmpty());
}

TEST_F(KmsFlips, AFrameLikeTheOneUnderWayDoesNotFollowIt) {
    show(1);
    showAgain();
    sendLastEvent();
    EXPECT_THAT(kernel.calls, ElementsAre("light 1"));
}

TEST_F(KmsFlips, ABufferGetsTheRowsThatChangedSinceItWasWritten) {
    showInTurn(1);
    showInTurn(2);
    picture.drawRows({1, 2}, 3);
    display->show(picture);
    sendLastEvent();
    picture.taken.clear();
    picture.drawRows({4, 6}, 4);
    display->show(picture);
    EXPECT_THAT(picture.taken, ElementsAre("1-2", "4-6"));
    sendLastEvent();
    picture.taken.clear();
    picture.drawRows({0, 1}, 5);
    display->show(picture);
    EXPECT_THAT(picture.taken, ElementsAre("0-1", "4-6"));
}

TEST_F(KmsFlips, RowsReachTheBufferAsThePictureHasThem) {
    picture.drawPattern();
    display->show(picture);
    for (int32_t y = 0; y < kSize.height; ++y) {
        for (int32_t x = 0; x < kSize.width; ++x)
            EXPECT_EQ(dumbBuffers().valueAt(
                          1, static_cast<uint32_t>(y) * kDumbStride + 4 * static_cast<uint32_t>(x)),
                      picture.at(x, y));
    }
}

TEST_F(KmsFlips, ATurnedDisplayGetsATurnedPicture) {
    plugIn(outputOf({kSize.height, kSize.width}, DRM_FORMAT_XRGB8888, Rotation::by90));
    EXPECT_EQ(display->output().consoleSize(), kSize);
    picture.drawPattern();
    display->show(picture);
    EXPECT_EQ(dumbBuffers().valueAt(1, 0), picture.at(0, kSize.height - 1));
}

TEST_F(KmsFlips, ADisplayOfSixteenBitsGetsThem) {
    plugIn(outputOf(kSize, DRM_FORMAT_RGB565, Rotation::by0));
    show(0xff8040);
    EXPECT_EQ(dumbBuffers().bitsPerPixel, 16u);
    EXPECT_EQ(dumbBuffers().format, uint32_t{DRM_FORMAT_RGB565});
    EXPECT_EQ(dumbBuffers().valueAt(1, 0) & 0xffff, 0xfc08u);
}

TEST_F(KmsFlips, AForeignEventIsIgnored) {
    show(1);
    show(2);
    display->flipped(kernel.events.back() + 1000);
    EXPECT_THAT(kernel.calls, ElementsAre("light 1"));
}

TEST_F(KmsFlips, NumbersAreNeverUsedTwice) {
    showInTurn(1);
    const uintptr_t old = kernel.events.back();
    plugIn(display->output());
    show(2);
    show(3);
    kernel.calls.clear();
    display->flipped(old);
    EXPECT_THAT(kernel.calls, IsEmpty());
}

TEST_F(KmsFlips, AnEventThatStaysOutIsNotWaitedForForever) {
    showInTurn(1);
    show(2);
    show(3);
    show(4);
    EXPECT_THAT(kernel.calls, ElementsAre("light 1", "flip 2"));
    show(5);
    EXPECT_THAT(kernel.calls, ElementsAre("light 1", "flip 2", "flip 5"));
}

TEST_F(KmsFlips, WithoutEventsEachFrameIsShownAtOnce) {
    kernel.sendsEvents = false;
    show(1);
    show(2);
    show(3);
    EXPECT_THAT(kernel.calls, ElementsAre("light 1", "flip 2", "flip 3"));
}

TEST_F(KmsFlips, ABusyKernelIsAskedAgainWithTheNextFrame) {
    showInTurn(1);
    kernel.flipError = EBUSY;
    show(2);
    kernel.flipError = 0;
    show(3);
    EXPECT_THAT(kernel.calls, ElementsAre("light 1", "flip 2", "flip 3"));
    EXPECT_EQ(kernel.complaints, 0);
}

TEST_F(KmsFlips, ABusyKernelIsAskedAgainForTheSameFrame) {
    showInTurn(1);
    kernel.flipError = EBUSY;
    show(2);
    kernel.flipError = 0;
    showAgain();
    EXPECT_THAT(kernel.calls, ElementsAre("light 1", "flip 2", "flip 2"));
}

TEST_F(KmsFlips, ARefusedFlipLightsTheDisplayAnew) {
    showInTurn(1);
    kernel.flipError = EINVAL;
    show(2);
    EXPECT_THAT(kernel.calls, ElementsAre("light 1", "flip 2", "light 2"));
    EXPECT_EQ(kernel.complaints, 0);
}

TEST_F(KmsFlips, AFailureIsSaidOnceUntilItWorksAgain) {
    kernel.lightError = EACCES;
    show(1);
    show(2);
    EXPECT_EQ(kernel.complaints, 1);
    kernel.lightError = 0;
    showInTurn(3);
    kernel.flipError = kernel.lightError = EACCES;
    show(4);
    EXPECT_EQ(kernel.complaints, 2);
}

TEST_F(KmsFlips, ACardWithoutMemoryIsSaidOnceAndAskedAgain) {
    dumbBuffers().createError = ENOMEM;
    show(1);
    show(2);
    EXPECT_EQ(kernel.complaints, 1);
    EXPECT_THAT(kernel.calls, IsEmpty());
    dumbBuffers().createError = 0;
    show(3);
    EXPECT_THAT(kernel.calls, ElementsAre("light 3"));
}

TEST_F(KmsFlips, ACardWithMemoryForOneBufferShowsEachFrameInIt) {
    showInTurn(1);
    dumbBuffers().createError = ENOMEM;
    showInTurn(2);
    showInTurn(3);
    EXPECT_THAT(kernel.calls, ElementsAre("light 1", "flip 2", "flip 3"));
    EXPECT_THAT(kernel.buffers, ElementsAre(1, 1, 1));
    EXPECT_EQ(kernel.complaints, 1);
}

TEST_F(KmsFlips, NothingIsBroughtToAPausedDisplay) {
    showInTurn(1);
    display->pause();
    show(2);
    show(3);
    EXPECT_THAT(kernel.calls, ElementsAre("light 1"));
    display->resume();
    EXPECT_THAT(kernel.calls, ElementsAre("light 1", "light 3"));
}

TEST_F(KmsFlips, AResumedDisplayGetsTheShownFrameAgain) {
    showInTurn(1);
    display->pause();
    showAgain();
    picture.taken.clear();
    display->resume();
    EXPECT_THAT(kernel.calls, ElementsAre("light 1", "light 1"));
    EXPECT_THAT(picture.taken, IsEmpty());
}

TEST_F(KmsFlips, AResumedDisplayWaitsForNoEventFromBefore) {
    show(1);
    display->pause();
    display->resume();
    EXPECT_THAT(kernel.calls, ElementsAre("light 1", "light 1"));
}

TEST_F(KmsFlips, ADisplayResumedBeforeItsFirstFrameStaysDark) {
    display->pause();
    display->resume();
    EXPECT_THAT(kernel.calls, IsEmpty());
}

TEST_F(KmsFlips, ALostLinkIsTrainedAnew) {
    showInTurn(1);
    kernel.state = OutputState::linkLost;
    EXPECT_TRUE(display->isThere());
    showAgain();
    EXPECT_THAT(kernel.calls, ElementsAre("light 1", "light 1"));
}

TEST_F(KmsFlips, AGoneDisplayIsNotThere) {
    EXPECT_TRUE(display->isThere());
    kernel.state = OutputState::gone;
    EXPECT_FALSE(display->isThere());
}

TEST_F(KmsFlips, TheDisplayIsTurnedOffAtTheEnd) {
    showInTurn(1);
    display.reset();
    EXPECT_THAT(kernel.calls, ElementsAre("light 1", "dark"));
}

TEST_F(KmsFlips, TheMemoryIsGivenBackAtTheEnd) {
    showInTurn(1);
    showInTurn(2);
    EXPECT_EQ(dumbBuffers().existing, 2);
    display.reset();
    EXPECT_EQ(dumbBuffers().existing, 0);
    EXPECT_EQ(dumbBuffers().framebuffers, 0);
}

}  // namespace
