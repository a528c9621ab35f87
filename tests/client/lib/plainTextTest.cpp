#include "lib/plainText.h"

#include <gtest/gtest.h>
#include <locale.h>

#include <cerrno>

namespace {

using std::string_literals::operator""s;

std::string transliterated(std::string_view text) {
    std::string plain;
    EXPECT_EQ(makePlain(text, VELKARIS_TEXT_TRANSLITERATE, &plain), 0);
    return plain;
}

TEST(PlainText, AsciiStaysWithAllItsControlCharacters) {
    std::string every;
    for (char c = 1; c > 0 && c < 127; ++c)
        every.push_back(c);
    EXPECT_EQ(transliterated(every), every);
    std::string plain;
    EXPECT_EQ(makePlain(every, VELKARIS_TEXT_REFUSE, &plain), 0);
    EXPECT_EQ(plain, every);
}

TEST(PlainText, TakesTheNearestAscii) {
    EXPECT_EQ(transliterated("größe café"), "grosse cafe");
    EXPECT_EQ(transliterated("„so“ – 5 €…"), ",,so\" - 5 EUR...");
}

TEST(PlainText, MarksWhatHasNoNeighbourInAscii) {
    EXPECT_EQ(transliterated("日 x"), "? x");
    EXPECT_EQ(transliterated("a\0b"s), "a?b");
}

TEST(PlainText, MarksEachMalformedByteAndGoesOn) {
    EXPECT_EQ(transliterated("a\xff\xfe z"), "a?? z");
    EXPECT_EQ(transliterated("cut \xc3"), "cut ?");
}

TEST(PlainText, GrowsAsFarAsItNeedsTo) {
    std::string in;
    std::string out;
    for (int i = 0; i < 3000; ++i) {
        in += "ß";
        out += "ss";
    }
    EXPECT_EQ(transliterated(in), out);
}

TEST(PlainText, IsTheSameInEveryLocale) {
    const locale_t plainC = newlocale(LC_ALL_MASK, "C", nullptr);
    const locale_t previous = uselocale(plainC);
    EXPECT_EQ(transliterated("größe"), "grosse");
    EXPECT_EQ(uselocale(nullptr), plainC) << "the caller's locale was left changed";
    uselocale(previous);
    freelocale(plainC);
}

TEST(PlainText, PassesEverythingOnWhenAskedTo) {
    std::string plain;
    ASSERT_EQ(makePlain("gr\xc3\xb6\xff\0z"s, VELKARIS_TEXT_PASS, &plain), 0);
    EXPECT_EQ(plain, "gr\xc3\xb6\xff\0z"s);
}

TEST(PlainText, RefusesAnythingButAsciiWhenAskedTo) {
    std::string plain;
    EXPECT_EQ(makePlain("größe", VELKARIS_TEXT_REFUSE, &plain), EILSEQ);
    EXPECT_EQ(makePlain("a\0b"s, VELKARIS_TEXT_REFUSE, &plain), EILSEQ);
}

}  // namespace
