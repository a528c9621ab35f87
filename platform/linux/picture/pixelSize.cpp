#include "picture/pixelSize.h"

#include <charconv>

std::optional<PixelSize> parsePixelSize(const std::string& text) {
    const char* const end = text.data() + text.size();
    PixelSize size{};
    const auto [cross, widthError] = std::from_chars(text.data(), end, size.width);
    if (widthError != std::errc() || cross == end || *cross != 'x')
        return std::nullopt;
    const auto [rest, heightError] = std::from_chars(cross + 1, end, size.height);
    if (heightError != std::errc() || rest != end)
        return std::nullopt;
    if (size.width < 1 || size.width > kLargestPicture || size.height < 1 ||
        size.height > kLargestPicture)
        return std::nullopt;
    return size;
}
