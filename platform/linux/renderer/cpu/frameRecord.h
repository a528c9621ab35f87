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

    // Draws a rectangle that lies inside the surface and is not empty. Those with texels come with
    // their texture, which the record shares until it is cleared.
    void add(Rectangle rectangle, const std::shared_ptr<const Texture>& texture);

    // Sorts the rectangles by rows; drawRow and isSameRow want it after the last add.
    void finish();

    void drawRow(int32_t y, uint32_t* pixels) const;

    // Whether nothing differs, and whether nothing differs in that row. The number of a texture
    // means the same in both records: see Texture's keeper.
    bool isSame(const FrameRecord& other) const;
    bool isSameRow(int32_t y, const FrameRecord& other) const;

private:
    struct UsedTexture {
        uint32_t number;
        std::shared_ptr<const Texture> texture;
    };
    struct RowList {
        const uint32_t* begin;
        const uint32_t* end;
    };
    RowList rowList(int32_t y) const;
    const Texture& textureOf(const Rectangle& rectangle) const;

    PixelSize size_;
    uint32_t background_ = 0xff000000;
    std::vector<Rectangle> rectangles_;
    std::vector<UsedTexture> textures_;  // one as a rule, two at most in practice
    // For each row the rectangles that it crosses, in their order: those of row y are the numbers
    // from rowStarts_[y] up to rowStarts_[y + 1].
    std::vector<uint32_t> rowStarts_;
    std::vector<uint32_t> rowRectangles_;
};
