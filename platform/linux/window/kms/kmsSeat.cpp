#include "window/kms/kmsSeat.h"

#include <xf86drm.h>

#include <algorithm>
#include <cerrno>
#include <vector>

#include "dispatch/eventLoop.h"
#include "report/layerError.h"
#include "window/terminal/virtualTerminal.h"

namespace {

struct Seat {
    std::string path;  // of the only card that may be taken; empty: any
    std::optional<Rotation> rotation;
    std::vector<std::shared_ptr<KmsCard>> cards;  // those that are open
    std::unique_ptr<KmsDisplay> display;          // null while there is none
    bool askedForTerminal = false;
    std::string trouble;  // the last that was printed
};

// Never destroyed: the exit handler of the terminal needs it.
Seat& seat() {
    static auto* state = new Seat;
    return *state;
}

void onFlip(int, unsigned, unsigned, unsigned, void* number) {
    if (seat().display)
        seat().display->flipped(reinterpret_cast<uintptr_t>(number));
}

void handleCardEvents(void* card) {
    drmEventContext context{};
    context.version = 2;
    context.page_flip_handler = onFlip;
    drmHandleEvent(static_cast<KmsCard*>(card)->fd.get(), &context);
}

void leaveDisplay() {
    if (seat().display)
        seat().display->pause();
    for (const auto& card : seat().cards)
        dropMaster(*card);
}

void sayOnce(const std::string& trouble) {
    if (!trouble.empty() && trouble != seat().trouble)
        layerError("kms: %s", trouble.c_str());
    seat().trouble = trouble;
}

// Takes the display back where the program ought to have it and does not.
void regainDisplay() {
    KmsDisplay* const display = seat().display.get();
    if (!display || !isTerminalSeen() || isMaster(*display->card()))
        return;
    if (!becomeMaster(*display->card()))
        return sayOnce(describeCardError(display->card()->path, errno));
    sayOnce("");
    display->resume();
}

std::vector<std::string> candidatePaths() {
    return seat().path.empty() ? cardPaths() : std::vector<std::string>{seat().path};
}

void forgetVanishedCards() {
    auto& cards = seat().cards;
    const auto isGone = [](const std::shared_ptr<KmsCard>& card) {
        const bool gone = !isCardThere(*card);
        if (gone)
            eventLoopForget(card->fd.get());
        return gone;
    };
    cards.erase(std::remove_if(cards.begin(), cards.end(), isGone), cards.end());
}

std::shared_ptr<KmsCard> knownCard(const std::string& path) {
    for (const auto& card : seat().cards) {
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
    seat().cards.push_back(card);
    return card;
}

void closeCard(const std::shared_ptr<KmsCard>& card) {
    eventLoopForget(card->fd.get());
    auto& cards = seat().cards;
    cards.erase(std::remove(cards.begin(), cards.end(), card), cards.end());
}

// Others may have the cards that are not used. They stay open, to be asked for displays again.
void dropOtherCards(const std::shared_ptr<KmsCard>& used) {
    for (const auto& card : seat().cards) {
        if (card != used)
            dropMaster(*card);
    }
}

// False with errno when the program may not have the display.
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
    seat().display = std::make_unique<KmsDisplay>(card, output);
    if (!isSeen)
        seat().display->pause();
    if (!seat().askedForTerminal)
        claimTerminal(leaveDisplay, regainDisplay);
    seat().askedForTerminal = true;
    dropOtherCards(card);
    return true;
}

// Whether a card's error concerns the program when it may take any card.
bool isInTheWay(int error) {
    return error == EACCES || error == EPERM || error == EBUSY;
}

// Looks for a display that is connected, and takes it. Returns why none can be taken, which is
// nothing when none is there.
std::string findDisplay(const std::optional<PixelSize>& size) {
    const OutputWish wish{size, seat().rotation};
    std::string trouble;
    for (const std::string& path : candidatePaths()) {
        std::shared_ptr<KmsCard> card = knownCard(path);
        const bool isNew = !card;
        if (isNew)
            card = newCard(path);
        int error = card ? 0 : errno;
        if (card) {
            const auto output = findOutput(*card, wish, isNew);
            if (output && takeDisplay(card, *output))
                return "";
            error = output ? errno : 0;
        }
        const bool matters = !seat().path.empty() || isInTheWay(error);
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

bool takeSeat(const std::string& path, const OutputWish& wish) {
    seat() = {};
    seat().path = path;
    seat().rotation = wish.rotation;
    const std::string trouble = findDisplay(wish.size);
    sayOnce(trouble);
    return trouble.empty();
}

void followDisplay(const PixelSize& consoleSize) {
    std::unique_ptr<KmsDisplay>& display = seat().display;
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
    return seat().display.get();
}
