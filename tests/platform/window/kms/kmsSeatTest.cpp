// Which display of a machine the console is on, while cards, displays and terminals come and go.
// The test stands in for the machine: its cards are records, its terminal a flag.
#include "kd/windows/kmsHotplug.h"

#include <gmock/gmock.h>

#include <cerrno>
#include <cstdarg>
#include <cstring>
#include <map>

#include "dispatch/eventLoop.h"
#include "kd/windows/kmsTerminal.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

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
    std::optional<DisplaySize> wanted;
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
    return std::make_shared<KmsCard>(KmsCard{path, FileDescriptor(), true});
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

std::optional<KmsOutput> findOutput(const KmsCard& card, const std::optional<DisplaySize>& wanted,
                                    bool) {
    machine.wanted = wanted;
    if (fakeOf(card).connected == 0)
        return std::nullopt;
    KmsOutput output{};
    output.name = "display " + std::to_string(fakeOf(card).connected);
    output.connector = static_cast<uint32_t>(fakeOf(card).connected);
    output.mode.hdisplay = 800;
    output.mode.vdisplay = 600;
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

struct KmsMemoryFrames::Memory {};
KmsMemoryFrames::KmsMemoryFrames(std::shared_ptr<KmsCard> owner, const DisplaySize& displaySize,
                                 uint32_t planeFormat)
    : card(std::move(owner)), size(displaySize), format(planeFormat) {}
KmsMemoryFrames::~KmsMemoryFrames() = default;
KmsFramePtr KmsMemoryFrames::copy(const uint8_t*, const DisplaySize&) {
    return std::make_shared<KmsFrame>(KmsFrame{1});
}

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

std::string describeCardError(const std::string& path, int error) {
    return path + " " + std::strerror(error);
}

bool eventLoopWatch(int, void (*)(void*), void*) {
    return true;
}

void eventLoopForget(int) {}

namespace {

constexpr DisplaySize kConsoleSize{800, 600};

class KmsSearch : public testing::Test {
protected:
    KmsSearch() { machine = {}; }
    ~KmsSearch() override {
        machine.cards.clear();
        startDisplaySearch("", std::nullopt);  // lets go of what this test has left
    }

    bool start(const std::string& path = "",
               const std::optional<DisplaySize>& wanted = std::nullopt) {
        const bool started = startDisplaySearch(path, wanted);
        drawFrame();
        return started;
    }
    void tick() {
        followDisplay(kConsoleSize);
        drawFrame();
    }
    static void drawFrame() {
        const uint8_t pixel[4] = {};
        if (currentDisplay())
            currentDisplay()->showCopy(pixel, {1, 1});
    }
    // "card display", or "none".
    static std::string where() {
        const KmsDisplay* const display = currentDisplay();
        return display ? display->card()->path + " " + display->output().name : "none";
    }
};

TEST_F(KmsSearch, TakesTheFirstCardWithADisplay) {
    machine.cards["card0"];
    machine.cards["card1"].connected = 1;
    machine.cards["card2"].connected = 2;
    EXPECT_TRUE(start());
    EXPECT_EQ(where(), "card1 display 1");
    EXPECT_THAT(machine.said, IsEmpty());
}

TEST_F(KmsSearch, LeavesTheOtherCardsToOthers) {
    machine.cards["card0"];
    machine.cards["card1"].connected = 1;
    start();
    EXPECT_FALSE(machine.cards["card0"].isMaster);
    EXPECT_TRUE(machine.cards["card1"].isMaster);
}

TEST_F(KmsSearch, TakesANamedCardOnly) {
    machine.cards["card0"].connected = 1;
    machine.cards["card1"].connected = 2;
    EXPECT_TRUE(start("card1"));
    EXPECT_EQ(where(), "card1 display 2");
    machine.cards["card1"].connected = 0;
    tick();
    EXPECT_EQ(where(), "none");
    EXPECT_EQ(machine.cards["card0"].opened, 0);
}

TEST_F(KmsSearch, FailsWithOneLine) {
    const struct {
        int error;
        bool isTaken;
        std::string path, line;
    } cases[] = {
        {EACCES, false, "", "kms: card0 Permission denied"},
        {0, true, "", "kms: card0 Device or resource busy"},
        {EOPNOTSUPP, false, "card0", "kms: card0 Operation not supported"},
        {0, false, "card5", "kms: card5 No such file or directory"},
    };
    for (const auto& each : cases) {
        machine = {};
        machine.cards["card0"] = {};
        machine.cards["card0"].openError = each.error;
        machine.cards["card0"].isTaken = each.isTaken;
        machine.cards["card0"].connected = 1;
        EXPECT_FALSE(startDisplaySearch(each.path, std::nullopt));
        EXPECT_THAT(machine.said, ElementsAre(each.line));
    }
}

TEST_F(KmsSearch, PassesOverCardsWithoutDisplays) {
    machine.cards["card0"].openError = EOPNOTSUPP;
    machine.cards["card1"].connected = 1;
    EXPECT_TRUE(start());
    EXPECT_EQ(where(), "card1 display 1");
}

TEST_F(KmsSearch, WaitsForACardToAppear) {
    EXPECT_TRUE(start());
    tick();
    EXPECT_THAT(machine.said, IsEmpty());
    machine.cards["card0"].connected = 1;
    tick();
    EXPECT_THAT(machine.lit, ElementsAre("card0 display 1"));
    EXPECT_THAT(machine.said, ElementsAre("kms: drawing on display 1 of card0, 800x600"));
}

TEST_F(KmsSearch, WantsTheSizeOfTheConsoleOnceThatIsSettled) {
    machine.cards["card0"];
    start();
    EXPECT_FALSE(machine.wanted);
    tick();
    ASSERT_TRUE(machine.wanted);
    EXPECT_EQ(machine.wanted->width, kConsoleSize.width);
}

TEST_F(KmsSearch, WantsTheSizeThatIsAskedForFromTheStart) {
    machine.cards["card0"];
    start("", DisplaySize{640, 240});
    ASSERT_TRUE(machine.wanted);
    EXPECT_EQ(machine.wanted->height, 240);
}

TEST_F(KmsSearch, SaysATroubleOnceAndTriesOn) {
    start();
    machine.cards["card0"].connected = 1;
    machine.cards["card0"].isTaken = true;
    tick();
    tick();
    EXPECT_THAT(machine.said, ElementsAre("kms: card0 Device or resource busy"));
    EXPECT_EQ(machine.cards["card0"].opened, 2);  // anew, which makes it master if it can be
    machine.cards["card0"].isTaken = false;
    tick();
    EXPECT_EQ(where(), "card0 display 1");
}

TEST_F(KmsSearch, MovesToAnotherCardAndBack) {
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
    EXPECT_EQ(machine.cards["card0"].opened, 1);  // the card that may draw the frames stays open
}

TEST_F(KmsSearch, OpensACardAnewThatVanished) {
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

TEST_F(KmsSearch, GivesTheDisplayUpWithItsTerminal) {
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

TEST_F(KmsSearch, TakesADisplayBackThatIsStillTakenOneTickLater) {
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

TEST_F(KmsSearch, LightsNothingOnATerminalThatIsNotSeen) {
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
