// What was drawn in one frame: a colour that fills the surface, and rectangles over it in the order
// of their drawing. Rows are drawn from it at any time, each by itself, so no frame is ever held.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "picture/pixelSize.h"
#include "renderer/cpu/rectangle.h"

class FrameRecord {
public:
    explicit FrameRecord(const PixelSize& size) : size_(size) {}

    // Forgets everything that was drawn; `colour` fills the surface, 0xffRRGGBB.
    void clear(uint32_t colour);

    // Draws a rectangle that lies inside the surface and is not empty. `texture` is the one of the
    // paint's number, which the record shares until it is cleared.
    void add(const Paint& paint, const Rectangle& rectangle,
             const std::shared_ptr<const Texture>& texture);

    // Gives the frame up, for want of memory; until it is cleared the record is not whole.
    void giveUp();
    bool isWhole() const { return isWhole_; }

    void drawRow(int32_t y, uint32_t* pixels) const;

    // Whether nothing differs, and whether nothing differs in that row. The number of a texture has
    // to mean the same in both records.
    bool isSame(const FrameRecord& other) const;
    bool isSameRow(int32_t y, const FrameRecord& other) const;

private:
    // Rectangles drawn one after another with the same paint, a text as a rule: those up to `end`,
    // from where the run before ends.
    struct Run {
        Paint paint;
        int16_t top, bottom;  // each of its rectangles lies between
        size_t end;
    };
    friend bool operator==(const Run& left, const Run& right);

    struct UsedTexture {
        uint32_t number;
        std::shared_ptr<const Texture> texture;
    };
    class RowWalk;

    const Texture* textureOf(const Paint& paint) const;

    PixelSize size_;
    bool isWhole_ = true;
    uint32_t background_ = 0xff000000;
    std::vector<Run> runs_;
    std::vector<Rectangle> rectangles_;
    std::vector<UsedTexture> textures_;
};
