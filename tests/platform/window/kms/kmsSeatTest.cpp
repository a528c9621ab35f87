// Which display of a machine the console is on, while cards, displays and terminals come and go.
// The test stands in for the machine: its cards are records, its terminal a flag.
#include "window/kms/kmsSeat.h"

#include <drm_fourcc.h>
#include <gmock/gmock.h>

#include <cerrno>
#include <cstdarg>
#include <cstring>
#include <map>

#include "dispatch/eventLoop.h"
#include "platform/support/drawnPicture.h"
#include "platform/window/kms/dumbBuffers.h"
#include "window/terminal/virtualTerminal.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr PixelSize kConsoleSize{60, 40};

struct FakeCard {
    int openError = 0;      // of the next attempts to open it
    bool isTaken = false;   // another program is its master
    bool isThere = true;    // false: open descriptors are of no use any more
    int connected = 0;      // the display that is connected; 0: none
    bool isMaster = false;  // this program
    int opened = 0;         // how often
};

struct Machine {
    std::map<std::string, FakeCard> cards;
    bool isTerminalSeen = true;
    void (*leave)() = nullptr;
    void (*enter)() = nullptr;
    std::vector<std::string> said;
    std::vector<std::string> lit;  // what commits have brought to a display: "card0 display 1"
    OutputWish wish;
};

Machine machine;

FakeCard& fakeOf(const KmsCard& card) {
    return machine.cards.at(card.path);
}

}  // namespace

std::vector<std::string> cardPaths() {
    std::vector<std::string> paths;
    for (const auto& [path, card] : machine.cards) {
        if (card.isThere)
            paths.push_back(path);
    }
    return paths;
}

std::shared_ptr<KmsCard> openCard(const std::string& path) {
    const auto found = machine.cards.find(path);
    if (found == machine.cards.end() || !found->second.isThere) {
        errno = ENOENT;
        return nullptr;
    }
    FakeCard& card = found->second;
    ++card.opened;
    if (card.openError != 0) {
        errno = card.openError;
        return nullptr;
    }
    card.isMaster = !card.isTaken;
    return std::make_shared<KmsCard>(KmsCard{path, dumbBuffers().openCard(), true});
}

bool isCardThere(const KmsCard& card) {
    return fakeOf(card).isThere;
}

bool isMaster(const KmsCard& card) {
    return fakeOf(card).isMaster;
}

bool becomeMaster(const KmsCard& card) {
    errno = EBUSY;
    return fakeOf(card).isMaster = !fakeOf(card).isTaken;
}

void dropMaster(const KmsCard& card) {
    fakeOf(card).isMaster = false;
}

std::optional<KmsOutput> findOutput(const KmsCard& card, const OutputWish& wish, bool) {
    machine.wish = wish;
    if (fakeOf(card).connected == 0)
        return std::nullopt;
    KmsOutput output{};
    output.name = "display " + std::to_string(fakeOf(card).connected);
    output.connector = static_cast<uint32_t>(fakeOf(card).connected);
    output.mode.hdisplay = kConsoleSize.width;
    output.mode.vdisplay = kConsoleSize.height;
    output.format = DRM_FORMAT_XRGB8888;
    return output;
}

OutputState outputState(const KmsCard& card, const KmsOutput& output) {
    const bool isConnected =
        fakeOf(card).isThere && fakeOf(card).connected == static_cast<int>(output.connector);
    return isConnected ? OutputState::connected : OutputState::gone;
}

CommitResult lightOutput(const KmsCard& card, const KmsOutput& output, uint32_t, uintptr_t) {
    machine.lit.push_back(card.path + " " + output.name);
    return {0, false};
}

CommitResult flipOutput(const KmsCard&, const KmsOutput&, uint32_t, uintptr_t) {
    return {0, false};
}

void darkenOutput(const KmsCard&, const KmsOutput&) {}

bool isTerminalSeen() {
    return machine.isTerminalSeen;
}

void claimTerminal(void (*leave)(), void (*enter)()) {
    machine.leave = leave;
    machine.enter = enter;
}

void layerError(const char* format, ...) {
    char text[256];
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    machine.said.push_back(text);
}

bool eventLoopWatch(int, void (*)(void*), void*) {
    return true;
}

void eventLoopForget(int) {}

namespace {

class KmsSeat : public testing::Test {
protected:
    KmsSeat() {
        machine = {};
        resetDumbBuffers();
    }
    ~KmsSeat() override {
        machine.cards.clear();
        takeSeat("", {});  // lets go of what this test has left
    }

    bool start(const std::string& path = "", const OutputWish& wish = {}) {
        const bool started = takeSeat(path, wish);
        drawFrame();
        return started;
    }
    void tick() {
        followDisplay(kConsoleSize);
        drawFrame();
    }
    void drawFrame() {
        picture.drawAll(++drawn);
        if (currentDisplay())
            currentDisplay()->show(picture);
    }
    // "card display", or "none".
    static std::string where() {
        const KmsDisplay* const display = currentDisplay();
        return display ? display->card()->path + " " + display->output().name : "none";
    }

    DrawnPicture picture{kConsoleSize};
    uint32_t drawn = 0;
};

TEST_F(KmsSeat, TakesTheFirstCardWithADisplay) {
    machine.cards["card0"];
    machine.cards["card1"].connected = 1;
    machine.cards["card2"].connected = 2;
    EXPECT_TRUE(start());
    EXPECT_EQ(where(), "card1 display 1");
    EXPECT_THAT(machine.said, IsEmpty());
}

TEST_F(KmsSeat, LeavesTheOtherCardsToOthers) {
    machine.cards["card0"];
    machine.cards["card1"].connected = 1;
    start();
    EXPECT_FALSE(machine.cards["card0"].isMaster);
    EXPECT_TRUE(machine.cards["card1"].isMaster);
}

TEST_F(KmsSeat, TakesANamedCardOnly) {
    machine.cards["card0"].connected = 1;
    machine.cards["card1"].connected = 2;
    EXPECT_TRUE(start("card1"));
    EXPECT_EQ(where(), "card1 display 2");
    machine.cards["card1"].connected = 0;
    tick();
    EXPECT_EQ(where(), "none");
    EXPECT_EQ(machine.cards["card0"].opened, 0);
}

TEST_F(KmsSeat, FailsWithOneLine) {
    const struct {
        int error;
        bool isTaken;
        std::string path, line;
    } cases[] = {
        {EACCES, false, "", "kms: no permission to open card0"},
        {0, true, "", "kms: card0 is in use: another program is its DRM master"},
        {EOPNOTSUPP, false, "card0", "kms: card0 is no graphics card that drives displays"},
        {0, false, "card5", "kms: no graphics card card5"},
    };
    for (const auto& each : cases) {
        machine = {};
        machine.cards["card0"] = {};
        machine.cards["card0"].openError = each.error;
        machine.cards["card0"].isTaken = each.isTaken;
        machine.cards["card0"].connected = 1;
        EXPECT_FALSE(takeSeat(each.path, {}));
        EXPECT_THAT(machine.said, ElementsAre(each.line));
    }
}

TEST_F(KmsSeat, PassesOverCardsWithoutDisplays) {
    machine.cards["card0"].openError = EOPNOTSUPP;
    machine.cards["card1"].connected = 1;
    EXPECT_TRUE(start());
    EXPECT_EQ(where(), "card1 display 1");
}

TEST_F(KmsSeat, WaitsForACardToAppear) {
    EXPECT_TRUE(start());
    tick();
    EXPECT_THAT(machine.said, IsEmpty());
    machine.cards["card0"].connected = 1;
    tick();
    EXPECT_THAT(machine.lit, ElementsAre("card0 display 1"));
    EXPECT_THAT(machine.said, ElementsAre("kms: drawing on display 1 of card0, 60x40"));
}

TEST_F(KmsSeat, WantsTheSizeOfTheConsoleOnceThatIsSettled) {
    machine.cards["card0"];
    start();
    EXPECT_FALSE(machine.wish.size);
    tick();
    EXPECT_EQ(machine.wish.size, kConsoleSize);
}

TEST_F(KmsSeat, WantsWhatIsAskedForFromTheStart) {
    machine.cards["card0"];
    start("", {PixelSize{640, 240}, Rotation::by90});
    EXPECT_EQ(machine.wish.size, (PixelSize{640, 240}));
    EXPECT_EQ(machine.wish.rotation, Rotation::by90);
    tick();
    EXPECT_EQ(machine.wish.rotation, Rotation::by90);
}

TEST_F(KmsSeat, SaysATroubleOnceAndTriesOn) {
    start();
    machine.cards["card0"].connected = 1;
    machine.cards["card0"].isTaken = true;
    tick();
    tick();
    EXPECT_THAT(machine.said,
                ElementsAre("kms: card0 is in use: another program is its DRM master"));
    EXPECT_EQ(machine.cards["card0"].opened, 2);  // anew, which makes it master if it can be
    machine.cards["card0"].isTaken = false;
    tick();
    EXPECT_EQ(where(), "card0 display 1");
}

TEST_F(KmsSeat, MovesToAnotherCardAndBack) {
    machine.cards["card0"].connected = 1;
    machine.cards["card1"].connected = 2;
    start();
    machine.cards["card0"].connected = 0;
    tick();
    EXPECT_EQ(where(), "card1 display 2");
    machine.cards["card0"].connected = 1;
    tick();
    EXPECT_EQ(where(), "card1 display 2");
    machine.cards["card1"].connected = 0;
    tick();
    EXPECT_EQ(where(), "card0 display 1");
    EXPECT_EQ(machine.cards["card0"].opened, 1);
}

TEST_F(KmsSeat, OpensACardAnewThatVanished) {
    machine.cards["card0"].connected = 1;
    start();
    machine.cards["card0"].isThere = false;
    tick();
    EXPECT_EQ(where(), "none");
    machine.cards["card0"].isThere = true;
    tick();
    EXPECT_EQ(where(), "card0 display 1");
    EXPECT_EQ(machine.cards["card0"].opened, 2);
}

TEST_F(KmsSeat, GivesTheDisplayUpWithItsTerminal) {
    machine.cards["card0"].connected = 1;
    start();
    machine.isTerminalSeen = false;
    machine.leave();
    EXPECT_FALSE(machine.cards["card0"].isMaster);
    machine.lit.clear();
    tick();
    EXPECT_THAT(machine.lit, IsEmpty());

    machine.isTerminalSeen = true;
    machine.enter();
    EXPECT_TRUE(machine.cards["card0"].isMaster);
    EXPECT_THAT(machine.lit, ElementsAre("card0 display 1"));
}

TEST_F(KmsSeat, TakesADisplayBackThatIsStillTakenOneTickLater) {
    machine.cards["card0"].connected = 1;
    start();
    machine.leave();
    machine.cards["card0"].isTaken = true;
    machine.lit.clear();
    machine.enter();
    EXPECT_THAT(machine.lit, IsEmpty());
    machine.cards["card0"].isTaken = false;
    tick();
    EXPECT_THAT(machine.lit, ElementsAre("card0 display 1"));
}

TEST_F(KmsSeat, ShowsTheNewestFrameOnADisplayThatComesBack) {
    machine.cards["card0"].connected = 1;
    start();
    machine.cards["card0"].connected = 0;
    tick();
    machine.cards["card0"].connected = 1;
    tick();
    const auto newest = static_cast<uint32_t>(dumbBuffers().created);
    EXPECT_EQ(dumbBuffers().valueAt(newest, 0), 0xff000000 | drawn);
    EXPECT_EQ(dumbBuffers().existing, 1);
}

TEST_F(KmsSeat, LightsNothingOnATerminalThatIsNotSeen) {
    machine.cards["card0"].connected = 1;
    machine.isTerminalSeen = false;
    EXPECT_TRUE(start());
    EXPECT_THAT(machine.lit, IsEmpty());
    EXPECT_FALSE(machine.cards["card0"].isMaster);
    machine.isTerminalSeen = true;
    machine.enter();
    EXPECT_THAT(machine.lit, ElementsAre("card0 display 1"));
}

}  // namespace
