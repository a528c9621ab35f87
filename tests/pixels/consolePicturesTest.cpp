// What the program shows, pixel by pixel.
#include <gtest/gtest.h>

#include "pixels/pixelCase.h"

namespace {

ReferenceScreen sized(int width, int height) {
    ReferenceScreen screen;
    screen.width = width;
    screen.height = height;
    return screen;
}

// Something of everything, in the characters that reach furthest out of their lines.
ConsoleScript sampleScript() {
    ConsoleScript script;
    script.status = "Installing {}[]()_gjpqy|^~@#$%&";
    script.percent = 1;
    script.write("The quick brown fox jumps over the lazy dog, and back again, |^_gjpqy~@\n");
    script.item("Boot loader", 100).item("Root file system {gjpqy}", 42);
    script.write("a\nb\n\nc");
    return script;
}

PixelCase sample(const std::string& name, std::vector<std::string> options, ReferenceScreen screen,
                 const std::string& font = VELKARIS_TEST_FONT, int points = 12) {
    return {name, std::move(options), screen, sampleScript(), font, points};
}

}  // namespace

TEST(ConsolePictures, EmptyConsoleShowsTheBandAndAStandingClock) {
    expectPictures({{"empty", {}, sized(1280, 480), {}}});
}

TEST(ConsolePictures, ThirtyLinesShowTheNewestThatFit) {
    ConsoleScript script;
    for (int number = 0; number < 30; ++number)
        script.write("line " + std::to_string(number));
    expectPictures(
        {{"thirtyLines", {}, sized(1280, 480), script},
         {"thirtySmallLines", {"-f", "6"}, sized(1280, 480), script, VELKARIS_TEST_FONT, 6}});
}

TEST(ConsolePictures, ExactlyAsManyLinesAsFitAreAllShown) {
    // Rows of 27 pixels: 480 / 27 - 1 of them.
    ConsoleScript full, over;
    for (int number = 0; number < 17; ++number) {
        if (number < 16)
            full.write("row " + std::to_string(number));
        over.write("row " + std::to_string(number));
    }
    expectPictures({{"full", {}, sized(1280, 480), full}, {"over", {}, sized(1280, 480), over}});
}

TEST(ConsolePictures, ItemsOfEveryPercent) {
    ConsoleScript script;
    for (const int percent : {-5, 0, 1, 42, 99, 100, 150, 1000, -100, -1000, 33, 7})
        script.item("Part " + std::to_string(percent), percent);
    expectPictures(
        {{"percents", {}, sized(1280, 480), script},
         {"percentsOddWidth", {}, sized(1281, 480), script},
         {"percentsProportional", {}, sized(801, 480), script, VELKARIS_PROPORTIONAL_FONT}});
}

TEST(ConsolePictures, ItemPercentsAtTheEndsOfTheirRange) {
    ConsoleScript script;
    for (const int percent : {INT32_MAX, INT32_MIN, 1 << 24, -(1 << 24), 100000})
        script.item("Far out", percent);
    expectPictures({{"extremePercents", {}, sized(640, 240), script}});
}

TEST(ConsolePictures, LongStatusTextRunsUnderTheTime) {
    ConsoleScript touching, endless;
    touching.status = std::string(88, 'M');
    endless.status = "";
    for (int word = 0; word < 40; ++word)
        endless.status += "status" + std::to_string(word) + " ";
    endless.percent = 50;
    expectPictures(
        {{"statusTouches", {}, sized(1280, 480), touching},
         {"statusEndless", {}, sized(1280, 480), endless},
         {"statusEndlessProportional", {}, sized(640, 200), endless, VELKARIS_PROPORTIONAL_FONT}});
}

TEST(ConsolePictures, HalfWidthKeepsToTheLeftHalf) {
    ReferenceScreen even = sized(1280, 480), odd = sized(1281, 480);
    even.halfWidth = odd.halfWidth = true;
    ConsoleScript script = sampleScript();
    script.item("Past the half", 1000);
    script.status = std::string(100, 'W');
    expectPictures({{"halfEven", {"-R"}, even, script}, {"halfOdd", {"-R"}, odd, script}});
}

TEST(ConsolePictures, OddSizes) {
    expectPictures({sample("size1x1", {}, sized(1, 1)), sample("size127x33", {}, sized(127, 33)),
                    sample("size1281x480", {}, sized(1281, 480)),
                    sample("size480x800", {}, sized(480, 800))});
}

TEST(ConsolePictures, LargeDisplay) {
    expectPictures({sample("size1920x1080", {}, sized(1920, 1080))});
}

TEST(ConsolePictures, NarrowAreasWrapBarsRound) {
    ConsoleScript script;
    script.write("no width to wrap at\nbut newlines").item("all", 1).item("none", 0);
    expectPictures({{"width19", {}, sized(19, 200), script},
                    {"width33", {"-f", "6"}, sized(33, 200), script, VELKARIS_TEST_FONT, 6},
                    {"width100", {}, sized(100, 200), script}});
}

TEST(ConsolePictures, HeightsBelowTwoRowsShowTheBandAlone) {
    expectPictures({sample("height53", {}, sized(640, 53)), sample("height54", {}, sized(640, 54)),
                    sample("height12", {}, sized(640, 12))});
}

TEST(ConsolePictures, EachColourOption) {
    ReferenceScreen background = sized(640, 200), foreground = background, band = background,
                    name = background, all = background;
    background.background = 0x102030;
    foreground.foreground = 0xff8000;
    band.statusBand = 0x123456;
    name.itemName = 0x00c0ff;
    all.background = 0x112233;
    all.foreground = 0xa0b0c0;
    all.statusBand = 0x00ff00;
    all.itemName = 0x7f0180;
    expectPictures(
        {sample("background", {"-B", "0x102030"}, background),
         sample("foreground", {"-F", "FF8000"}, foreground), sample("band", {"-S", "123456"}, band),
         sample("itemName", {"-P", "0X00c0Ff"}, name),
         sample("allColours", {"-B", "ff112233", "-F", "a0b0c0", "-S", "00ff00", "-P", "ff7f0180"},
                all)});
}

TEST(ConsolePictures, ColoursThatDoNotParseStayWhatTheyWere) {
    ReferenceScreen earlier = sized(640, 200);
    earlier.background = 0x204060;
    expectPictures({sample("noColour", {"-B", "zz", "-F", "", "-S", "#fff"}, sized(640, 200)),
                    sample("earlierColour", {"-B", "204060", "-B", "zz"}, earlier)});
}

TEST(ConsolePictures, SizesOfTheMonospacedFont) {
    const char* const font = VELKARIS_TEST_FONT;
    expectPictures({sample("mono5", {"-f", "5"}, sized(640, 240), font, 5),
                    sample("mono6", {"-f", "6"}, sized(640, 240), font, 6),
                    sample("mono12", {"-f", "12"}, sized(640, 240), font, 12),
                    sample("mono30", {"-f", "30"}, sized(1280, 480), font, 30)});
}

TEST(ConsolePictures, SizesThatNoFontIsMadeFor) {
    const char* const font = VELKARIS_TEST_FONT;
    expectPictures({sample("sizeNoNumber", {"-f", "abc"}, sized(320, 100), font, 0),
                    sample("sizeNegative", {"-f", "-12"}, sized(320, 100), font, -12),
                    sample("size1", {"-f", "1"}, sized(320, 100), font, 1),
                    sample("size120", {"-f", "120"}, sized(1280, 480), font, 120)});
}

TEST(ConsolePictures, SizesOfAProportionalFont) {
    const char* const font = VELKARIS_PROPORTIONAL_FONT;
    expectPictures({sample("proportional5", {"-f", "5"}, sized(640, 240), font, 5),
                    sample("proportional6", {"-f", "6"}, sized(640, 240), font, 6),
                    sample("proportional12", {}, sized(640, 240), font, 12),
                    sample("proportional30", {"-f", "30"}, sized(1280, 480), font, 30)});
}

TEST(ConsolePictures, ARepeatedOptionCountsAsItsLast) {
    ReferenceScreen screen = sized(640, 200);
    screen.background = 0x102030;
    expectPictures({sample("repeated",
                           {"-p", "/nowhere.ttf", "-p", VELKARIS_PROPORTIONAL_FONT, "-B", "ffffff",
                            "-B", "102030", "-f", "30", "-f", "8"},
                           screen, VELKARIS_PROPORTIONAL_FONT, 8)});
}

TEST(ConsolePictures, ALogoTimeWithoutALogoHasNoEffect) {
    expectPictures({sample("noLogo", {"-t", "100"}, sized(640, 200))});
}

TEST(ConsolePictures, EveryByteDrawsAsItsSignedNumberSays) {
    ConsoleScript script;
    for (int first = 1; first < 256; first += 32) {
        std::string bytes;
        for (int code = first; code < first + 32 && code < 256; ++code) {
            if (code != '\n')
                bytes.push_back(static_cast<char>(code));
        }
        script.write(bytes);
    }
    script.item("tab\tand\x01\x7f\xe4\xff", 50);
    script.status = "caf\xc3\xa9\t|";
    expectPictures(
        {{"bytes", {}, sized(1280, 480), script},
         {"bytesSize6", {"-f", "6"}, sized(640, 480), script, VELKARIS_PROPORTIONAL_FONT, 6}});
}

TEST(ConsolePictures, WithoutAFontBarsHaveNoHeight) {
    expectPictures({{"noFont", {}, sized(320, 100), sampleScript(), "/nowhere.ttf"}});
}
