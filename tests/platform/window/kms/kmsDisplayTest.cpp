// How frames reach a display: in turn, the newest first, none while another is on its way. The test
// stands in for the kernel, which takes commits and sends flip events.
#include "kd/windows/kmsDisplay.h"

#include <gmock/gmock.h>

#include <cerrno>
#include <cstdarg>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

struct Kernel {
    std::vector<std::string> calls;  // "light 1", "flip 2", "dark"
    std::vector<uintptr_t> events;   // numbers of the flips that it has taken
    int lightError = 0;
    int flipError = 0;
    bool sendsEvents = true;
    OutputState state = OutputState::connected;
    int complaints = 0;
} kernel;

CommitResult take(const char* call, uint32_t buffer, uintptr_t number, int error) {
    kernel.calls.push_back(call + std::to_string(buffer));
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

// Copies are frames with the number of their first pixel.
struct KmsMemoryFrames::Memory {};
KmsMemoryFrames::KmsMemoryFrames(std::shared_ptr<KmsCard> owner, const DisplaySize& displaySize,
                                 uint32_t planeFormat)
    : card(std::move(owner)), size(displaySize), format(planeFormat) {}
KmsMemoryFrames::~KmsMemoryFrames() = default;
KmsFramePtr KmsMemoryFrames::copy(const uint8_t* rgba, const DisplaySize&) {
    return std::make_shared<KmsFrame>(KmsFrame{rgba[0]});
}

namespace {

class KmsFlips : public testing::Test {
protected:
    KmsFlips() {
        kernel = {};
        display = std::make_unique<KmsDisplay>(std::make_shared<KmsCard>(), KmsOutput{});
    }

    // Shows a frame; what is returned tells whether it is still held.
    std::weak_ptr<const KmsFrame> show(uint32_t number) {
        auto frame = std::make_shared<KmsFrame>(KmsFrame{number});
        std::weak_ptr<const KmsFrame> watched = frame;
        display->show(std::move(frame));
        return watched;
    }
    void sendLastEvent() { display->flipped(kernel.events.back()); }
    void showInTurn(uint32_t number) {
        show(number);
        sendLastEvent();
    }

    std::unique_ptr<KmsDisplay> display;
};

TEST_F(KmsFlips, TheFirstFrameLightsTheDisplayAndTheNextIsFlippedTo) {
    showInTurn(1);
    showInTurn(2);
    showInTurn(3);
    EXPECT_THAT(kernel.calls, ElementsAre("light 1", "flip 2", "flip 3"));
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
    const auto replaced = show(2);
    show(3);
    EXPECT_TRUE(replaced.expired());
    sendLastEvent();
    EXPECT_THAT(kernel.calls, ElementsAre("light 1", "flip 3"));
}

TEST_F(KmsFlips, ABufferIsHeldUntilTheNextOneIsOnTheDisplay) {
    const auto first = show(1);
    sendLastEvent();
    show(2);
    EXPECT_FALSE(first.expired());
    sendLastEvent();
    EXPECT_TRUE(first.expired());
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
    display = std::make_unique<KmsDisplay>(std::make_shared<KmsCard>(), KmsOutput{});
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
    const auto first = show(1);
    show(2);
    EXPECT_TRUE(first.expired());
    EXPECT_THAT(kernel.calls, ElementsAre("light 1", "flip 2"));
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
    display->resume();
    EXPECT_THAT(kernel.calls, ElementsAre("light 1", "light 1"));
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
    show(2);
    EXPECT_THAT(kernel.calls, ElementsAre("light 1", "light 2"));
}

TEST_F(KmsFlips, AGoneDisplayIsNotThere) {
    EXPECT_TRUE(display->isThere());
    kernel.state = OutputState::gone;
    EXPECT_FALSE(display->isThere());
}

TEST_F(KmsFlips, CopiesAreFramesLikeOthers) {
    const uint8_t pixel[4] = {7, 0, 0, 0};
    display->showCopy(pixel, {1, 1});
    EXPECT_THAT(kernel.calls, ElementsAre("light 7"));
}

TEST_F(KmsFlips, TheDisplayIsTurnedOffAtTheEnd) {
    showInTurn(1);
    display.reset();
    EXPECT_THAT(kernel.calls, ElementsAre("light 1", "dark"));
}

}  // namespace
