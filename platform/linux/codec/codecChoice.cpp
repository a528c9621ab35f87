#include "codec/codecChoice.h"

#include <cstring>
#include <initializer_list>
#include <string_view>

#include "module/moduleLoader.h"

namespace {

struct Format {
    const char* name;
    std::string_view beginning;
};

const std::initializer_list<Format> kFormats = {
#ifdef VELKARIS_LOGO_PNG
    {"png", "\x89PNG\r\n\x1a\n"},
#endif
#ifdef VELKARIS_LOGO_JPEG
    {"jpeg", "\xff\xd8\xff"},
#endif
};

bool begins(const std::vector<uint8_t>& data, std::string_view beginning) {
    return data.size() >= beginning.size() &&
           std::memcmp(data.data(), beginning.data(), beginning.size()) == 0;
}

}  // namespace

const char* imageFormat(const std::vector<uint8_t>& beginning) {
    for (const Format& format : kFormats) {
        if (begins(beginning, format.beginning))
            return format.name;
    }
    return nullptr;
}

bool hasImageFormat(const char* name) {
    for (const Format& format : kFormats) {
        if (std::strcmp(format.name, name) == 0)
            return true;
    }
    return false;
}

const ImageCodec* imageCodec(const char* name) {
    return loadRecord<ImageCodec>(name);
}
