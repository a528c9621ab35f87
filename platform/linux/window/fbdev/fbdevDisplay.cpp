#include "window/fbdev/fbdevDisplay.h"

#include <fcntl.h>
#include <linux/major.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "report/layerError.h"

namespace {

std::string describeError(const std::string& path, int error) {
    switch (error) {
        case ENOENT:
        case ENODEV:
        case ENXIO: return "no framebuffer " + path;
        case EACCES:
        case EPERM: return "no permission to open " + path;
        case ENOTTY:
        case EINVAL: return path + " is no framebuffer";
        default: return "can't open " + path + ": " + std::strerror(error);
    }
}

// Of /dev/fbN; -1 where the kernel has no text console.
int numberOf(int fd) {
    struct stat status {};
    const bool isFramebuffer = fstat(fd, &status) == 0 && major(status.st_rdev) == FB_MAJOR;
    return isFramebuffer ? static_cast<int>(minor(status.st_rdev)) : -1;
}

}  // namespace

std::unique_ptr<FbdevDisplay> FbdevDisplay::open(const std::string& path,
                                                 const std::optional<Rotation>& rotation,
                                                 std::string* trouble) {
    FileDescriptor fd(::open(path.c_str(), O_RDWR | O_CLOEXEC | O_NOCTTY));
    if (!fd) {
        *trouble = describeError(path, errno);
        return nullptr;
    }
    std::unique_ptr<FbdevDisplay> display(new FbdevDisplay(path, std::move(fd)));
    if (!display->readMode(trouble))
        return nullptr;
    if (!display->map()) {
        *trouble = "can't map " + path + ": " + std::strerror(errno);
        return nullptr;
    }
    display->rotation_ =
        rotation ? *rotation
                 : textConsoleRotation(numberOf(display->fd_.get())).value_or(Rotation::by0);
    display->scanout_.emplace(display->layout_.format, display->layout_.size, display->rotation_);
    display->chooseSides();
    // The text console may have let the display go dark.
    ioctl(display->fd_.get(), FBIOBLANK, FB_BLANK_UNBLANK);
    return display;
}

FbdevDisplay::~FbdevDisplay() {
    if (mapped_)
        munmap(mapped_, mappedBytes_);
}

bool FbdevDisplay::readMode(std::string* trouble) {
    if (ioctl(fd_.get(), FBIOGET_FSCREENINFO, &fixed_) != 0 ||
        ioctl(fd_.get(), FBIOGET_VSCREENINFO, &variable_) != 0) {
        *trouble = describeError(path_, errno);
        return false;
    }
    std::string reason;
    const std::optional<FbdevLayout> layout = layoutOf(fixed_, variable_, &reason);
    if (!layout) {
        *trouble = path_ + " " + reason;
        return false;
    }
    layout_ = *layout;
    return true;
}

bool FbdevDisplay::map() {
    // The kernel maps whole pages, and the memory may start inside of one.
    const size_t offset = fixed_.smem_start % static_cast<size_t>(sysconf(_SC_PAGESIZE));
    mappedBytes_ = offset + fixed_.smem_len;
    void* const mapped =
        mmap(nullptr, mappedBytes_, PROT_READ | PROT_WRITE, MAP_SHARED, fd_.get(), 0);
    if (mapped == MAP_FAILED)
        return false;
    mapped_ = static_cast<uint8_t*>(mapped);
    memory_ = mapped_ + offset;
    return true;
}

void FbdevDisplay::chooseSides() {
    const auto height = static_cast<uint32_t>(layout_.size.height);
    if (layout_.hasSecondSide)
        sides_ = {{0, 0, 0}, {height, height * layout_.stride, 0}};
    else
        sides_ = {{variable_.yoffset, layout_.shownStart, 0}};
    // A killed console may have left the display on its second picture.
    shown_ = sides_.size() > 1 && variable_.yoffset >= height ? 1 : 0;
}

bool FbdevDisplay::isThere() const {
    fb_var_screeninfo now{};
    return ioctl(fd_.get(), FBIOGET_VSCREENINFO, &now) == 0 && isSameMode(now, variable_);
}

void FbdevDisplay::show(const Picture& picture) {
    picture_ = &picture;
    bringNewest();
}

void FbdevDisplay::pause() {
    isPaused_ = true;
    if (sides_.size() > 1)
        moveTo(variable_.yoffset, variable_.xoffset);
}

void FbdevDisplay::resume() {
    isPaused_ = false;
    for (Side& side : sides_)
        side.frame = 0;
    bringNewest();
}

void FbdevDisplay::bringNewest() {
    if (!picture_ || isPaused_)
        return;
    const uint32_t shownFrame = sides_[shown_].frame;
    if (shownFrame != 0 && picture_->changedSince(shownFrame).empty())
        return;
    const size_t next = (shown_ + 1) % sides_.size();
    draw(&sides_[next]);
    if (sides_.size() > 1 && !moveTo(sides_[next].row, 0))
        return drawInPlace(errno);
    shown_ = next;
}

void FbdevDisplay::draw(Side* side) {
    const ScanoutMemory memory{memory_ + side->start, layout_.stride};
    if (side->frame == 0)
        scanout_->clearAround(picture_->size(), memory);
    scanout_->write(*picture_, side->frame, memory);
    side->frame = picture_->frame();
}

bool FbdevDisplay::moveTo(uint32_t row, uint32_t column) {
    fb_var_screeninfo variable = variable_;
    variable.xoffset = column;
    variable.yoffset = row;
    variable.activate = FB_ACTIVATE_VBL;
    return ioctl(fd_.get(), FBIOPAN_DISPLAY, &variable) == 0;
}

// A driver that tells of room it cannot move to.
void FbdevDisplay::drawInPlace(int moveError) {
    layerError("fbdev: %s does not move to its second picture: %s; drawing in place", path_.c_str(),
               std::strerror(moveError));
    const bool isMoved = sides_[shown_].frame != 0;
    Side shown = sides_[shown_];
    if (!isMoved)
        shown = {variable_.yoffset, layout_.shownStart, 0};
    sides_ = {shown};
    shown_ = 0;
    draw(&sides_[0]);
}
