// A framebuffer that is open and mapped. With room for two pictures each frame is drawn to the one
// that is not shown, and the display moved there; else it is drawn in place. A frame that looks
// like the one on the display is not drawn.
#pragma once

#include <linux/fb.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "ownership/fileDescriptor.h"
#include "window/fbdev/fbdevLayout.h"

class FbdevDisplay {
public:
    // Null with what is in the way. Without a rotation the picture is turned like the kernel's text
    // console.
    static std::unique_ptr<FbdevDisplay> open(const std::string& path,
                                              const std::optional<Rotation>& rotation,
                                              std::string* trouble);
    ~FbdevDisplay();
    FbdevDisplay(const FbdevDisplay&) = delete;
    FbdevDisplay& operator=(const FbdevDisplay&) = delete;

    const PixelSize& size() const { return layout_.size; }
    PixelSize consoleSize() const { return turned(layout_.size, rotation_); }

    // False when it is gone, or has another mode by now.
    bool isThere() const;

    // Shows the newest frame of `picture`, which is always the same one and stays valid.
    void show(const Picture& picture);

    // While the kernel's text, or another program, has the display nothing is drawn. Afterwards all
    // of the newest frame is.
    void pause();
    void resume();
    bool isPaused() const { return isPaused_; }

private:
    struct Side {
        uint32_t row;        // of the memory at which the picture starts
        size_t start;        // the same in bytes
        uint32_t frame = 0;  // the one that it holds; 0: none
    };

    FbdevDisplay(std::string path, FileDescriptor fd)
        : path_(std::move(path)), fd_(std::move(fd)) {}
    bool readMode(std::string* trouble);
    bool map();
    void chooseSides();
    void bringNewest();
    void draw(Side* side);
    bool moveTo(uint32_t row, uint32_t column);
    void drawInPlace(int moveError);

    std::string path_;
    FileDescriptor fd_;
    fb_fix_screeninfo fixed_{};
    fb_var_screeninfo variable_{};  // as it was found
    FbdevLayout layout_{};
    Rotation rotation_ = Rotation::by0;
    uint8_t* mapped_ = nullptr;
    size_t mappedBytes_ = 0;
    uint8_t* memory_ = nullptr;  // of the framebuffer, in what is mapped
    std::optional<Scanout> scanout_;
    std::vector<Side> sides_;           // two, or one that is drawn in place
    size_t shown_ = 0;                  // the side that the display is at
    const Picture* picture_ = nullptr;  // null before the first frame
    bool isPaused_ = false;
};
