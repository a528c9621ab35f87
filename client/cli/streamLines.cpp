#include "cli/streamLines.h"

namespace {

constexpr unsigned char kContinuationMask = 0xc0;
constexpr unsigned char kContinuation = 0x80;
constexpr size_t kLongestCharacter = 4;

// Where to cut text without a newline so that no UTF-8 character falls apart; all of it if the end
// of it is not UTF-8 anyway.
size_t characterEnd(std::string_view text) {
    size_t lead = text.size() - 1;
    while (lead > 0 && text.size() - lead < kLongestCharacter &&
           (static_cast<unsigned char>(text[lead]) & kContinuationMask) == kContinuation)
        --lead;
    const auto first = static_cast<unsigned char>(text[lead]);
    const size_t length = first >= 0xf0 ? 4 : first >= 0xe0 ? 3 : first >= 0xc0 ? 2 : 1;
    return lead + length > text.size() ? lead : text.size();
}

}  // namespace

std::string StreamLines::take() {
    const size_t newline = held_.rfind('\n');
    size_t end = 0;
    if (newline != std::string::npos)
        end = newline + 1;
    else if (room() == 0)
        end = characterEnd(held_);
    std::string piece = held_.substr(0, end);
    held_.erase(0, end);
    return piece;
}
