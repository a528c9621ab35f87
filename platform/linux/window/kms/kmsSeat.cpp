#include "kd/windows/kmsHotplug.h"

#include <xf86drm.h>

#include <algorithm>
#include <cerrno>
#include <vector>

#include "dispatch/eventLoop.h"
#include "kd/windows/kmsTerminal.h"
#include "report/layerError.h"

namespace {

struct Hotplug {
    std::string path;                             // of the only card that may be taken; empty: any
    std::vector<std::shared_ptr<KmsCard>> cards;  // those that are open
    std::unique_ptr<KmsDisplay> display;          // null while there is none
    bool askedForTerminal = false;
    std::string trouble;  // the last that was printed
};

// Never destroyed: the exit handler of the terminal needs it.
Hotplug& hotplug() {
    static auto* state = new Hotplug;
    return *state;
}

void onFlip(int, unsigned, unsigned, unsigned, void* number) {
    if (hotplug().display)
        hotplug().display->flipped(reinterpret_cast<uintptr_t>(number));
}

void handleCardEvents(void* card) {
    drmEventContext context{};
    context.version = 2;
    context.page_flip_handler = onFlip;
    drmHandleEvent(static_cast<KmsCard*>(card)->fd.get(), &context);
}

void leaveDisplay() {
    if (hotplug().display)
        hotplug().display->pause();
    for (const auto& card : hotplug().cards)
        dropMaster(*card);
}

void sayOnce(const std::string& trouble) {
    if (!trouble.empty() && trouble != hotplug().trouble)
        layerError("kms: %s", trouble.c_str());
    hotplug().trouble = trouble;
}

// Takes the display back where the program ought to have it and does not.
void regainDisplay() {
    KmsDisplay* const display = hotplug().display.get();
    if (!display || !isTerminalSeen() || isMaster(*display->card()))
        return;
    if (!becomeMaster(*display->card()))
        return sayOnce(describeCardError(display->card()->path, errno));
    sayOnce("");
    display->resume();
}

std::vector<std::string> candidatePaths() {
    return hotplug().path.empty() ? cardPaths() : std::vector<std::string>{hotplug().path};
}

void forgetVanishedCards() {
    auto& cards = hotplug().cards;
    const auto isGone = [](const std::shared_ptr<KmsCard>& card) {
        const bool gone = !isCardThere(*card);
        if (gone)
            eventLoopForget(card->fd.get());
        return gone;
    };
    cards.erase(std::remove_if(cards.begin(), cards.end(), isGone), cards.end());
}

std::shared_ptr<KmsCard> knownCard(const std::string& path) {
    for (const auto& card : hotplug().cards) {
        if (card->path == path)
            return card;
    }
    return nullptr;
}

// Null with errno.
std::shared_ptr<KmsCard> newCard(const std::string& path) {
    std::shared_ptr<KmsCard> card = openCard(path);
    if (!card || !eventLoopWatch(card->fd.get(), handleCardEvents, card.get()))
        return nullptr;
    hotplug().cards.push_back(card);
    return card;
}

void closeCard(const std::shared_ptr<KmsCard>& card) {
    eventLoopForget(card->fd.get());
    auto& cards = hotplug().cards;
    cards.erase(std::remove(cards.begin(), cards.end(), card), cards.end());
}

// Others may have the cards that are not used. They stay open: one of them may draw the frames.
void dropOtherCards(const std::shared_ptr<KmsCard>& used) {
    for (const auto& card : hotplug().cards) {
        if (card != used)
            dropMaster(*card);
    }
}

// False with errno when the display may not be had.
bool takeDisplay(const std::shared_ptr<KmsCard>& card, const KmsOutput& output) {
    const bool isSeen = isTerminalSeen();
    if (!isSeen) {
        dropMaster(*card);
    } else if (!becomeMaster(*card)) {
        const int error = errno;
        // Opened anew by the next attempt: by that alone a program without rights gets a card.
        closeCard(card);
        errno = error;
        return false;
    }
    hotplug().display = std::make_unique<KmsDisplay>(card, output);
    if (!isSeen)
        hotplug().display->pause();
    if (!hotplug().askedForTerminal)
        claimTerminal(leaveDisplay, regainDisplay);
    hotplug().askedForTerminal = true;
    dropOtherCards(card);
    return true;
}

// Whether a card's error concerns the program when it may take any card.
bool isInTheWay(int error) {
    return error == EACCES || error == EPERM || error == EBUSY;
}

// Looks for a display that is connected, and takes it. Returns why none could be had, which is
// nothing when none is there.
std::string findDisplay(const std::optional<DisplaySize>& wanted) {
    std::string trouble;
    for (const std::string& path : candidatePaths()) {
        std::shared_ptr<KmsCard> card = knownCard(path);
        const bool isNew = !card;
        if (isNew)
            card = newCard(path);
        int error = card ? 0 : errno;
        if (card) {
            const auto output = findOutput(*card, wanted, isNew);
            if (output && takeDisplay(card, *output))
                return "";
            error = output ? errno : 0;
        }
        const bool matters = !hotplug().path.empty() || isInTheWay(error);
        if (error != 0 && matters && trouble.empty())
            trouble = describeCardError(path, error);
    }
    return trouble;
}

void sayWhatIsShown(const KmsDisplay& display) {
    const KmsOutput& output = display.output();
    layerError("kms: drawing on %s of %s, %dx%d", output.name.c_str(), display.card()->path.c_str(),
               output.size().width, output.size().height);
}

}  // namespace

bool startDisplaySearch(const std::string& path, const std::optional<DisplaySize>& wanted) {
    hotplug() = {};
    hotplug().path = path;
    const std::string trouble = findDisplay(wanted);
    sayOnce(trouble);
    return trouble.empty();
}

void followDisplay(const DisplaySize& consoleSize) {
    std::unique_ptr<KmsDisplay>& display = hotplug().display;
    if (display && display->isThere())
        return regainDisplay();
    if (display) {
        layerError("kms: %s of %s is gone; drawing off screen until a display appears",
                   display->output().name.c_str(), display->card()->path.c_str());
        display.reset();
    }
    forgetVanishedCards();
    sayOnce(findDisplay(consoleSize));
    if (display)
        sayWhatIsShown(*display);
}

KmsDisplay* currentDisplay() {
    return hotplug().display.get();
}
