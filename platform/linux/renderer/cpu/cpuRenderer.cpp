#include "renderer/cpu/cpuRenderer.h"

#include <memory>
#include <new>
#include <utility>

#include "renderer/cpu/cpuCalls.h"
#include "renderer/cpu/frameRecord.h"
#include "report/layerError.h"

namespace {

class CpuPicture : public Picture {
public:
    explicit CpuPicture(const PixelSize& size) : Picture(size), shown_(size), drawn_(size) {
        startCpuDrawing(size, &drawn_);
    }

    void fill(const RowSpan& rows, uint32_t* pixels, size_t stridePixels) const override {
        for (int32_t y = rows.first; y < rows.end; ++y, pixels += stridePixels)
            shown_.drawRow(y, pixels);
    }

    // False when it could not be recorded: then the frame before stays.
    bool finishFrame() {
        const bool isWhole = drawn_.isWhole();
        if (isWhole)
            showDrawn();
        drawn_.clear(kBlack);
        return isWhole;
    }

private:
    void showDrawn() {
        addFrame();
        if (!drawn_.isSame(shown_)) {
            for (int32_t y = 0; y < size().height; ++y) {
                if (!drawn_.isSameRow(y, shown_))
                    markChanged(y);
            }
            std::swap(drawn_, shown_);
        }
    }

    static constexpr uint32_t kBlack = 0xff000000;

    FrameRecord shown_;  // the newest frame
    FrameRecord drawn_;  // the one after it, as far as it is drawn
};

std::unique_ptr<CpuPicture> picture;

bool open() {
    return true;
}

const Picture* createPicture(const PixelSize& size) {
    try {
        picture = std::make_unique<CpuPicture>(size);
    } catch (const std::bad_alloc&) {
        layerError("cpu: no memory for a picture of %dx%d", size.width, size.height);
    }
    return picture.get();
}

bool finishFrame() {
    if (picture->finishFrame())
        return true;
    layerError("cpu: no memory for a frame");
    return false;
}

}  // namespace

const Renderer kCpuRenderer = {"cpu", open, createPicture, cpuCalls, finishFrame};
