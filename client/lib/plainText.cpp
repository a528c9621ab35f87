#include "lib/plainText.h"

#include <iconv.h>
#include <locale.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <memory>
#include <type_traits>

namespace {

constexpr char kNoGlyph = '?';

struct ConverterRelease {
    void operator()(iconv_t converter) const { iconv_close(converter); }
};
using Converter = std::unique_ptr<std::remove_pointer_t<iconv_t>, ConverterRelease>;

struct LocaleRelease {
    void operator()(locale_t locale) const { freelocale(locale); }
};
using Locale = std::unique_ptr<std::remove_pointer_t<locale_t>, LocaleRelease>;

// The converter takes its tables from the calling thread's locale: plain "C" knows no accented
// letters, and a language's own tables would make the same text come out differently elsewhere.
class NeutralLocale {
public:
    NeutralLocale() : locale_(newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr)) {
        if (!locale_)
            locale_.reset(newlocale(LC_CTYPE_MASK, "C", nullptr));
        previous_ = uselocale(locale_.get());
    }
    ~NeutralLocale() { uselocale(previous_); }
    NeutralLocale(const NeutralLocale&) = delete;
    NeutralLocale& operator=(const NeutralLocale&) = delete;

private:
    Locale locale_;
    locale_t previous_;
};

bool isPlain(std::string_view text) {
    return std::all_of(text.begin(), text.end(),
                       [](char c) { return static_cast<signed char>(c) > 0; });
}

int transliterate(std::string_view text, std::string* plain) {
    const NeutralLocale neutral;
    const iconv_t opened = iconv_open("ASCII//TRANSLIT", "UTF-8");
    if (opened == reinterpret_cast<iconv_t>(-1))
        return errno;
    const Converter converter(opened);

    char* in = const_cast<char*>(text.data());
    size_t inLeft = text.size();
    while (inLeft > 0) {
        std::array<char, 1024> piece;
        char* out = piece.data();
        size_t outLeft = piece.size();
        const size_t result = iconv(converter.get(), &in, &inLeft, &out, &outLeft);
        const int error = result == static_cast<size_t>(-1) ? errno : 0;
        plain->append(piece.data(), static_cast<size_t>(out - piece.data()));
        if (error != 0 && error != E2BIG) {  // a byte that is no UTF-8, or a character cut short
            plain->push_back(kNoGlyph);
            ++in;
            --inLeft;
        }
    }
    std::replace(plain->begin(), plain->end(), '\0', kNoGlyph);
    return 0;
}

}  // namespace

int makePlain(std::string_view text, velkaris_text_mode mode, std::string* plain) {
    plain->clear();
    if (mode == VELKARIS_TEXT_PASS || isPlain(text)) {
        plain->assign(text);
        return 0;
    }
    return mode == VELKARIS_TEXT_REFUSE ? EILSEQ : transliterate(text, plain);
}
