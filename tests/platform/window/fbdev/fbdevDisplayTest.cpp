// The framebuffer window: what reaches the memory and where the display is moved to. The test
// stands in for the kernel, whose framebuffer is a file, and for the terminal.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <linux/fb.h>
#include <sys/ioctl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "platform/support/drawnPicture.h"
#include "support/temporaryFolder.h"
#include "window/fbdev/fbdev.h"
#include "window/scanout/rotation.h"
#include "window/terminal/virtualTerminal.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr PixelSize kSize{8, 6};
constexpr uint32_t kStride = 40;

struct Kernel {
    fb_fix_screeninfo fixed{};
    fb_var_screeninfo variable{};
    bool isGone = false;
    int moveError = 0;
    std::vector<uint32_t> moves;  // to these rows
    std::optional<Rotation> textConsole;
    std::optional<Rotation> wished;

    bool isTerminalSeen = true;
    void (*leave)() = nullptr;
    void (*enter)() = nullptr;
    std::vector<std::string> said;
} kernel;

int fail(int error) {
    errno = error;
    return -1;
}

int moveDisplay(const fb_var_screeninfo& variable) {
    if (kernel.moveError != 0)
        return fail(kernel.moveError);
    kernel.moves.push_back(variable.yoffset);
    kernel.variable.yoffset = variable.yoffset;
    return 0;
}

}  // namespace

// Instead of the C library's; what is no framebuffer's goes on to the system.
extern "C" int ioctl(int fd, unsigned long request, ...) noexcept {
    va_list arguments;
    va_start(arguments, request);
    void* const argument = va_arg(arguments, void*);
    va_end(arguments);
    if (request >> 8 != 'F')
        return static_cast<int>(syscall(SYS_ioctl, fd, request, argument));
    if (kernel.isGone)
        return fail(ENODEV);
    switch (request) {
        case FBIOGET_FSCREENINFO: std::memcpy(argument, &kernel.fixed, sizeof kernel.fixed); break;
        case FBIOGET_VSCREENINFO:
            std::memcpy(argument, &kernel.variable, sizeof kernel.variable);
            break;
        case FBIOPAN_DISPLAY: return moveDisplay(*static_cast<const fb_var_screeninfo*>(argument));
        case FBIOBLANK: break;
        default: return fail(EINVAL);
    }
    return 0;
}

bool isTerminalSeen() {
    return kernel.isTerminalSeen;
}

void claimTerminal(void (*leaveCall)(), void (*enterCall)()) {
    kernel.leave = leaveCall;
    kernel.enter = enterCall;
}

bool readRotation(std::optional<Rotation>* rotation) {
    *rotation = kernel.wished;
    return true;
}

std::optional<Rotation> textConsoleRotation(int) {
    return kernel.textConsole;
}

void layerError(const char* format, ...) {
    char text[256];
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    kernel.said.push_back(text);
}

namespace {

class Fbdev : public testing::Test {
protected:
    Fbdev() {
        kernel = {};
        kernel.fixed.type = FB_TYPE_PACKED_PIXELS;
        kernel.fixed.visual = FB_VISUAL_TRUECOLOR;
        kernel.fixed.line_length = kStride;
        kernel.fixed.ypanstep = 1;
        kernel.variable.bits_per_pixel = 32;
        kernel.variable.red = {16, 8, 0};
        kernel.variable.green = {8, 8, 0};
        kernel.variable.blue = {0, 8, 0};
        setMode(kSize, 1);
    }

    // The memory, full of text, has room for so many pictures.
    void setMode(const PixelSize& size, uint32_t pictures) {
        kernel.variable.xres = kernel.variable.xres_virtual = static_cast<uint32_t>(size.width);
        kernel.variable.yres = static_cast<uint32_t>(size.height);
        kernel.variable.yres_virtual = kernel.variable.yres * pictures;
        kernel.fixed.smem_len = kStride * kernel.variable.yres_virtual;
        const int fd = ::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
        const std::string text(kernel.fixed.smem_len, 't');
        ASSERT_EQ(pwrite(fd, text.data(), text.size(), 0), static_cast<ssize_t>(text.size()));
        ::close(fd);
    }

    std::optional<PixelSize> open(const std::string& size = "") {
        return kFbdevWindow.open(path + (size.empty() ? "" : ":" + size));
    }
    void show(uint32_t colour) {
        picture.drawAll(colour);
        kFbdevWindow.present(picture);
    }
    void showAgain() {
        picture.addFrameLikeTheLast();
        kFbdevWindow.present(picture);
    }
    // What the display shows at a place, without alpha; its text is kText.
    uint32_t seen(uint32_t x, uint32_t y) const {
        uint32_t value = 0;
        const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
        const uint32_t row = kernel.variable.yoffset + y;
        EXPECT_EQ(pread(fd, &value, sizeof value, row * kStride + 4 * x), ssize_t{sizeof value});
        ::close(fd);
        return value & 0xffffff;
    }
    static constexpr uint32_t kText = 0x747474;

    TemporaryFolder folder;
    std::string path = folder.file("fb");
    DrawnPicture picture{kSize};
};

TEST_F(Fbdev, HasTheSizeOfItsDisplay) {
    EXPECT_EQ(open(), kSize);
    EXPECT_EQ(kFbdevWindow.realize({}), kSize);
}

TEST_F(Fbdev, ShowsPicturesInPlaceWhereThereIsRoomForOne) {
    open();
    picture.drawPattern();
    kFbdevWindow.present(picture);
    for (uint32_t y = 0; y < 6; ++y) {
        for (uint32_t x = 0; x < 8; ++x)
            EXPECT_EQ(seen(x, y), picture.at(static_cast<int>(x), static_cast<int>(y)) & 0xffffff);
        EXPECT_EQ(seen(8, y), kText);  // behind the row
    }
    EXPECT_THAT(kernel.moves, IsEmpty());
}

TEST_F(Fbdev, MovesBetweenTwoPicturesWhereThereIsRoom) {
    setMode(kSize, 2);
    open();
    show(1);
    EXPECT_EQ(seen(0, 0), 1u);
    show(2);
    EXPECT_EQ(seen(0, 0), 2u);
    show(3);
    EXPECT_EQ(seen(0, 0), 3u);
    EXPECT_THAT(kernel.moves, ElementsAre(6, 0, 6));
}

TEST_F(Fbdev, DoesNothingForAFrameWithoutChange) {
    setMode(kSize, 2);
    open();
    show(1);
    picture.taken.clear();
    showAgain();
    EXPECT_THAT(kernel.moves, ElementsAre(6));
    EXPECT_THAT(picture.taken, IsEmpty());
}

TEST_F(Fbdev, WritesOnlyRowsThatTheSideLacks) {
    setMode(kSize, 2);
    open();
    show(1);
    show(2);
    picture.drawRows({1, 2}, 3);
    kFbdevWindow.present(picture);
    picture.taken.clear();
    picture.drawRows({4, 6}, 4);
    kFbdevWindow.present(picture);
    EXPECT_THAT(picture.taken, ElementsAre("1-2", "4-6"));
}

TEST_F(Fbdev, DrawsInPlaceWhereTheDisplayDoesNotMove) {
    setMode(kSize, 2);
    kernel.moveError = EINVAL;
    open();
    show(1);
    EXPECT_EQ(seen(0, 0), 1u);
    show(2);
    EXPECT_EQ(seen(0, 0), 2u);
    EXPECT_THAT(kernel.said, ElementsAre("fbdev: " + path +
                                         " does not move to its second picture: Invalid argument; "
                                         "drawing in place"));
}

TEST_F(Fbdev, DrawsWhereTheDisplayIs) {
    setMode(kSize, 2);
    kernel.fixed.ypanstep = 0;
    kernel.variable.yoffset = 2;
    open();
    show(1);
    EXPECT_EQ(seen(0, 0), 1u);
    EXPECT_EQ(seen(7, 5), 1u);
    kernel.variable.yoffset = 0;
    EXPECT_EQ(seen(0, 1), kText);
}

TEST_F(Fbdev, PutsAConsoleOfItsOwnSizeInTheMiddleOnBlack) {
    setMode({10, 8}, 1);
    EXPECT_EQ(open("8x6"), kSize);
    show(5);
    EXPECT_EQ(seen(0, 0), 0u);
    EXPECT_EQ(seen(1, 1), 5u);
    EXPECT_EQ(seen(8, 6), 5u);
    EXPECT_EQ(seen(9, 7), 0u);
}

TEST_F(Fbdev, IsTurnedAsItIsToldAndElseLikeTheTextConsole) {
    setMode({6, 8}, 1);
    kernel.textConsole = Rotation::by90;
    EXPECT_EQ(open(), kSize);
    picture.drawPattern();
    kFbdevWindow.present(picture);
    EXPECT_EQ(seen(0, 0), picture.at(0, 5) & 0xffffff);

    kernel.wished = Rotation::by270;
    EXPECT_EQ(open(), kSize);
    kFbdevWindow.present(picture);
    EXPECT_EQ(seen(0, 0), picture.at(7, 0) & 0xffffff);
}

TEST_F(Fbdev, LeavesTheDisplayToTheTextWhileAnotherTerminalIsSeen) {
    setMode(kSize, 2);
    open();
    show(1);
    kernel.leave();
    EXPECT_EQ(kernel.variable.yoffset, 0u);
    show(2);
    EXPECT_EQ(seen(0, 0), kText);

    setMode(kSize, 2);  // text everywhere
    kernel.enter();
    EXPECT_EQ(seen(0, 0), 2u);
    EXPECT_EQ(seen(7, 5), 2u);
}

TEST_F(Fbdev, DrawsNothingOnATerminalThatIsNotSeen) {
    kernel.isTerminalSeen = false;
    open();
    show(1);
    EXPECT_EQ(seen(0, 0), kText);
    kernel.enter();
    EXPECT_EQ(seen(0, 0), 1u);
}

TEST_F(Fbdev, BeginsOnTheSideThatIsNotShown) {
    setMode(kSize, 2);
    kernel.variable.yoffset = 6;
    open();
    show(1);
    show(2);
    EXPECT_EQ(seen(0, 0), 2u);
    EXPECT_THAT(kernel.moves, ElementsAre(0, 6));
}

TEST_F(Fbdev, LooksAtAnotherModeOnlyOnceItsTerminalIsSeen) {
    open();
    show(1);
    kernel.leave();
    setMode({10, 8}, 1);
    show(2);
    EXPECT_EQ(seen(1, 1), kText);
    EXPECT_THAT(kernel.said, IsEmpty());
    kernel.enter();
    show(3);
    EXPECT_EQ(seen(1, 1), 3u);
    EXPECT_THAT(kernel.said, ElementsAre("fbdev: drawing on " + path + ", 10x8"));
}

TEST_F(Fbdev, TakesADisplayInAnotherModeAnew) {
    open();
    show(1);
    setMode({10, 8}, 1);
    showAgain();
    EXPECT_EQ(seen(0, 0), 0u);
    EXPECT_EQ(seen(1, 1), 1u);
    EXPECT_THAT(kernel.said, ElementsAre("fbdev: drawing on " + path + ", 10x8"));
}

TEST_F(Fbdev, GoesOnWithoutItsDisplayUntilThatIsBack) {
    open();
    show(1);
    kernel.isGone = true;
    show(2);
    show(3);
    EXPECT_EQ(seen(0, 0), 1u);
    kernel.enter();
    kernel.isGone = false;
    showAgain();
    EXPECT_EQ(seen(0, 0), 3u);
    EXPECT_THAT(kernel.said, ElementsAre("fbdev: no framebuffer " + path +
                                             "; drawing off screen until that changes",
                                         "fbdev: drawing on " + path + ", 8x6"));
}

TEST_F(Fbdev, RefusesPixelsOfAnotherKind) {
    kernel.variable.bits_per_pixel = 8;
    EXPECT_FALSE(open());
    EXPECT_THAT(
        kernel.said,
        ElementsAre("fbdev: " + path +
                    " has 8 bits a pixel of type 0, visual 2; the console draws packed pixels of "
                    "16, 24 or 32 bits in true colour"));
}

}  // namespace
