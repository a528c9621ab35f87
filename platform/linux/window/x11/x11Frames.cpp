#include "window/x11/x11Frames.h"

#include <algorithm>
#include <cstring>

namespace {

// More put requests than this go as one: the connection holds them in any case.
constexpr size_t kMostStretches = 128;

// A row may be larger. One request of this size is what every server takes.
constexpr size_t kImageBytes = 65536;

uint16_t rowCount(const RowSpan& rows) {
    return static_cast<uint16_t>(rows.end - rows.first);
}

}  // namespace

X11Frames::X11Frames(xcb_connection_t* connection, xcb_window_t window,
                     const X11PixelFormat& format, const PixelSize& size)
    : connection_(connection),
      window_(window),
      format_(format),
      size_(size),
      pixmap_(xcb_generate_id(connection)),
      context_(xcb_generate_id(connection)) {
    xcb_create_pixmap(connection_, format_.depth, pixmap_, window_,
                      static_cast<uint16_t>(size_.width), static_cast<uint16_t>(size_.height));
    // Each copy to the window is answered with what could not be copied, or that all could.
    const uint32_t wantsAnswers = true;
    xcb_create_gc(connection_, context_, pixmap_, XCB_GC_GRAPHICS_EXPOSURES, &wantsAnswers);
    const size_t rowBytes = format_.rowBytes(size_.width);
    segment_ = shareX11Segment(connection_, rowBytes * static_cast<size_t>(size_.height));
    if (!segment_)
        image_.resize(std::max(kImageBytes / rowBytes, size_t{1}) * rowBytes);
}

void X11Frames::show(const Picture& picture) {
    picture_ = &picture;
    sendNewest();
}

void X11Frames::handle(const xcb_generic_event_t& event) {
    const bool isCopied = event.response_type == XCB_NO_EXPOSURE;
    const bool isRead = segment_ && event.response_type == segment_->completionEvent;
    if (event.response_type == XCB_EXPOSE)
        isExposed_ = true;
    else if (isCopied || isRead)
        --answersDue_;
    sendNewest();
}

void X11Frames::sendNewest() {
    if (!picture_ || answersDue_ > 0)
        return;
    std::vector<RowSpan> changed = picture_->changedSince(sentFrame_);
    if (changed.size() > kMostStretches)
        changed = {{changed.front().first, changed.back().end}};
    for (const RowSpan& rows : changed)
        segment_ ? putShared(rows, &rows == &changed.back()) : putPlain(rows);
    sentFrame_ = picture_->frame();
    if (isExposed_)
        copyToWindow({0, size_.height});
    else if (!changed.empty())
        copyToWindow({changed.front().first, changed.back().end});
    isExposed_ = false;
}

void X11Frames::putShared(const RowSpan& rows, bool isLast) {
    const size_t start = format_.rowBytes(size_.width) * static_cast<size_t>(rows.first);
    format_.fill(*picture_, rows, segment_->memory.get() + start);
    const auto first = static_cast<int16_t>(rows.first);
    xcb_shm_put_image(connection_, pixmap_, context_, static_cast<uint16_t>(size_.width),
                      static_cast<uint16_t>(size_.height), 0, static_cast<uint16_t>(rows.first),
                      static_cast<uint16_t>(size_.width), rowCount(rows), 0, first, format_.depth,
                      XCB_IMAGE_FORMAT_Z_PIXMAP, isLast, segment_->id, 0);
    answersDue_ += isLast ? 1 : 0;
}

void X11Frames::putPlain(const RowSpan& rows) {
    const size_t rowBytes = format_.rowBytes(size_.width);
    const auto most = static_cast<int32_t>(image_.size() / rowBytes);
    for (int32_t first = rows.first; first < rows.end; first += most) {
        const RowSpan piece{first, std::min(first + most, rows.end)};
        format_.fill(*picture_, piece, image_.data());
        xcb_put_image(connection_, XCB_IMAGE_FORMAT_Z_PIXMAP, pixmap_, context_,
                      static_cast<uint16_t>(size_.width), rowCount(piece), 0,
                      static_cast<int16_t>(first), 0, format_.depth,
                      static_cast<uint32_t>(rowBytes * rowCount(piece)), image_.data());
    }
}

void X11Frames::copyToWindow(const RowSpan& rows) {
    const auto first = static_cast<int16_t>(rows.first);
    xcb_copy_area(connection_, pixmap_, window_, context_, 0, first, 0, first,
                  static_cast<uint16_t>(size_.width), rowCount(rows));
    xcb_flush(connection_);
    ++answersDue_;
}
