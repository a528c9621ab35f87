#include "picture/pixelSize.h"

#include <charconv>

std::optional<PixelSize> parsePixelSize(const std::string& text) {
    // What the window protocols can say: sixteen bits with a sign.
    constexpr int32_t kLargest = 32767;
    const char* const end = text.data() + text.size();
    PixelSize size{};
    const auto [cross, widthError] = std::from_chars(text.data(), end, size.width);
    if (widthError != std::errc() || cross == end || *cross != 'x')
        return std::nullopt;
    const auto [rest, heightError] = std::from_chars(cross + 1, end, size.height);
    if (heightError != std::errc() || rest != end)
        return std::nullopt;
    if (size.width < 1 || size.width > kLargest || size.height < 1 || size.height > kLargest)
        return std::nullopt;
    return size;
}
