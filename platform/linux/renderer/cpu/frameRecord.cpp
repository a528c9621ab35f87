#include "renderer/cpu/frameRecord.h"

#include <algorithm>

// Goes through the rectangles that cross a row, in the order of their drawing. Runs that lie above
// or below it are left out as a whole.
class FrameRecord::RowWalk {
public:
    RowWalk(const FrameRecord& record, int32_t y) : record_(record), y_(y) {}

    // Null behind the last one.
    const Rectangle* next() {
        for (; run_ < record_.runs_.size(); ++run_) {
            const Run& run = record_.runs_[run_];
            if (y_ < run.top || y_ >= run.bottom)
                place_ = run.end;
            while (place_ < run.end) {
                const Rectangle& rectangle = record_.rectangles_[place_++];
                if (y_ >= rectangle.top && y_ < rectangle.bottom)
                    return &rectangle;
            }
        }
        return nullptr;
    }

    // Of the rectangle that next() gave last.
    const Paint& paint() const { return record_.runs_[run_].paint; }

private:
    const FrameRecord& record_;
    int32_t y_;
    size_t run_ = 0;
    size_t place_ = 0;  // of the next rectangle
};

bool operator==(const FrameRecord::Run& left, const FrameRecord::Run& right) {
    return left.paint == right.paint && left.end == right.end;
}

void FrameRecord::clear(uint32_t colour) {
    background_ = colour;
    runs_.clear();
    rectangles_.clear();
    textures_.clear();
    isWhole_ = true;
}

void FrameRecord::giveUp() {
    clear(background_);
    isWhole_ = false;
}

void FrameRecord::add(const Paint& paint, const Rectangle& rectangle,
                      const std::shared_ptr<const Texture>& texture) {
    rectangles_.push_back(rectangle);
    const bool continues = !runs_.empty() && runs_.back().paint == paint &&
                           rectangle.top < runs_.back().bottom &&
                           rectangle.bottom > runs_.back().top;
    if (!continues)
        runs_.push_back({paint, rectangle.top, rectangle.bottom, 0});
    Run& run = runs_.back();
    run.top = std::min(run.top, rectangle.top);
    run.bottom = std::max(run.bottom, rectangle.bottom);
    run.end = rectangles_.size();
    // Numbers grow with each upload, so one that is known is the newest.
    if (paint.texture != 0 && (textures_.empty() || textures_.back().number != paint.texture))
        textures_.push_back({paint.texture, texture});
}

const Texture* FrameRecord::textureOf(const Paint& paint) const {
    for (const UsedTexture& used : textures_) {
        if (used.number == paint.texture)
            return used.texture.get();
    }
    return nullptr;
}

void FrameRecord::drawRow(int32_t y, uint32_t* pixels) const {
    std::fill_n(pixels, size_.width, background_);
    RowWalk walk(*this, y);
    while (const Rectangle* const rectangle = walk.next())
        drawRectangleRow(walk.paint(), *rectangle, textureOf(walk.paint()), y, pixels);
}

bool FrameRecord::isSame(const FrameRecord& other) const {
    return background_ == other.background_ && runs_ == other.runs_ &&
           rectangles_ == other.rectangles_;
}

bool FrameRecord::isSameRow(int32_t y, const FrameRecord& other) const {
    if (background_ != other.background_)
        return false;
    RowWalk mine(*this, y), theirs(other, y);
    for (;;) {
        const Rectangle* const left = mine.next();
        const Rectangle* const right = theirs.next();
        if (!left || !right)
            return left == right;
        if (*left != *right || mine.paint() != theirs.paint())
            return false;
    }
}
