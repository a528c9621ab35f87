// Every option, and every way in which the command line ends the process.
#include "app/settings.h"

#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "support/outputCapture.h"
#include "support/serviceTest.h"

namespace {

const std::string kUsage =
    "Velkaris -p <font path> [-R] [-l <logo image>] [-t <logo time>] [-B <background color>] [-F "
    "<foreground color>] [-S <status line color>] [-P <progrss bar name color>] [-f <font size>]\n";

using Arguments = std::vector<const char*>;

// An argument vector as the runtime hands it over: the program's name first, null at the end.
void parse(Arguments arguments) {
    arguments.insert(arguments.begin(), "console");
    arguments.push_back(nullptr);
    parseSettings(static_cast<int>(arguments.size()) - 1, arguments.data());
}

void expectEnd(const Arguments& arguments, int status, const std::string& error) {
    const ChildEnd end = runInChild([&] { parse(arguments); });
    EXPECT_EQ(end.exitStatus, status);
    EXPECT_EQ(end.err, error + kUsage);
    EXPECT_EQ(end.out, "");
}

class Settings : public ServiceTest {};

TEST_F(Settings, HaveTheseDefaults) {
    parse({"-p", "f.ttf"});
    EXPECT_STREQ(appSettings.fontPath, "f.ttf");
    EXPECT_EQ(appSettings.logoPath, nullptr);
    EXPECT_EQ(appSettings.logoTime, 5);
    EXPECT_EQ(appSettings.backgroundColour, 0x6e3b3bu);
    EXPECT_EQ(appSettings.foregroundColour, 0xffffffu);
    EXPECT_EQ(appSettings.statusColour, 0xc49191u);
    EXPECT_EQ(appSettings.progressNameColour, 0u);
    EXPECT_EQ(appSettings.fontSize, 12);
    EXPECT_EQ(appSettings.halfWidth, 0);
    EXPECT_STREQ(appSettings.devicePath, "/dev/Velkaris");
}

TEST_F(Settings, EachOptionSetsItsOwnField) {
    parse({"-p", "f.ttf", "-l", "logo.png", "-t", "7", "-B", "010203", "-F", "040506", "-S",
           "070809", "-P", "0a0b0c", "-f", "30", "-R"});
    EXPECT_STREQ(appSettings.fontPath, "f.ttf");
    EXPECT_STREQ(appSettings.logoPath, "logo.png");
    EXPECT_EQ(appSettings.logoTime, 7);
    EXPECT_EQ(appSettings.backgroundColour, 0x010203u);
    EXPECT_EQ(appSettings.foregroundColour, 0x040506u);
    EXPECT_EQ(appSettings.statusColour, 0x070809u);
    EXPECT_EQ(appSettings.progressNameColour, 0x0a0b0cu);
    EXPECT_EQ(appSettings.fontSize, 30);
    EXPECT_EQ(appSettings.halfWidth, 1);
    EXPECT_STREQ(appSettings.devicePath, "/dev/Velkaris");
}

TEST_F(Settings, PathsPointAtTheArgumentsThemselves) {
    const char* const font = "f.ttf";
    const char* const logo = "logo.png";
    parse({"-p", font, "-l", logo});
    EXPECT_EQ(appSettings.fontPath, font);
    EXPECT_EQ(appSettings.logoPath, logo);
}

TEST_F(Settings, OptionsMayBeJoinedToTheirArguments) {
    parse({"-Rpf.ttf", "-t9"});
    EXPECT_STREQ(appSettings.fontPath, "f.ttf");
    EXPECT_EQ(appSettings.halfWidth, 1);
    EXPECT_EQ(appSettings.logoTime, 9);
}

TEST_F(Settings, TheLastOfARepeatedOptionWins) {
    parse({"-p", "a.ttf", "-f", "8", "-p", "b.ttf", "-f", "9"});
    EXPECT_STREQ(appSettings.fontPath, "b.ttf");
    EXPECT_EQ(appSettings.fontSize, 9);
}

struct Colour {
    const char* text;
    uint32_t value;
};

TEST_F(Settings, ColoursAreHexadecimalInAnySpelling) {
    for (const Colour& colour : {Colour{"0x102030", 0x102030},
                                 {"102030", 0x102030},
                                 {"0XABCDEF", 0xabcdef},
                                 {"abcdef", 0xabcdef},
                                 {"ff112233", 0xff112233},
                                 {"  12", 0x12},
                                 {"12zz", 0x12},
                                 {"0", 0}}) {
        SetUp();
        parse({"-p", "f", "-B", colour.text, "-F", colour.text, "-S", colour.text, "-P",
               colour.text});
        EXPECT_EQ(appSettings.backgroundColour, colour.value) << colour.text;
        EXPECT_EQ(appSettings.foregroundColour, colour.value) << colour.text;
        EXPECT_EQ(appSettings.statusColour, colour.value) << colour.text;
        EXPECT_EQ(appSettings.progressNameColour, colour.value) << colour.text;
    }
}

TEST_F(Settings, WhatIsNoColourLeavesTheColourAloneSilently) {
    const Output output = outputOf([] {
        parse({"-p", "f", "-B", "zz", "-F", "123456", "-F", "zz", "-S", ""});
    });
    EXPECT_EQ(appSettings.backgroundColour, 0x6e3b3bu);
    EXPECT_EQ(appSettings.foregroundColour, 0x123456u);
    EXPECT_EQ(appSettings.statusColour, 0xc49191u);
    EXPECT_EQ(output.out + output.err, "");
}

TEST_F(Settings, WhatIsNoNumberCountsAsZero) {
    parse({"-p", "f", "-f", "abc", "-t", "soon"});
    EXPECT_EQ(appSettings.fontSize, 0);
    EXPECT_EQ(appSettings.logoTime, 0);
}

TEST_F(Settings, NumbersAreTakenAsTheyStand) {
    parse({"-p", "f", "-f", "-4", "-t", "-12x"});
    EXPECT_EQ(appSettings.fontSize, -4);
    EXPECT_EQ(appSettings.logoTime, -12);
}

TEST_F(Settings, AnEmptyFontPathIsAPath) {
    parse({"-p", ""});
    EXPECT_STREQ(appSettings.fontPath, "");
}

TEST_F(Settings, TwoDashesEndTheOptions) {
    parse({"-p", "f", "--"});
    EXPECT_STREQ(appSettings.fontPath, "f");
    EXPECT_EQ(appSettings.halfWidth, 0);
}

TEST_F(Settings, WhatFollowsTwoDashesIsAnOperand) {
    expectEnd({"-p", "f", "--", "-R"}, 1, "Error! Unexpected operand: -R\n");
}

TEST_F(Settings, TheFontIsMandatory) {
    expectEnd({}, 1, "-p <font path> is mandatory option\n");
    expectEnd({"-R", "-f", "12"}, 1, "-p <font path> is mandatory option\n");
}

TEST_F(Settings, AnOperandEndsTheProcess) {
    expectEnd({"-p", "f.ttf", "extra"}, 1, "Error! Unexpected operand: extra\n");
}

TEST_F(Settings, OnlyTheFirstOperandIsNamed) {
    expectEnd({"-p", "f.ttf", "one", "two"}, 1, "Error! Unexpected operand: one\n");
}

TEST_F(Settings, AnOperandIsReportedBeforeAMissingFont) {
    expectEnd({"extra"}, 1, "Error! Unexpected operand: extra\n");
}

TEST_F(Settings, OptionsBehindAnOperandAreNotLookedAt) {
    expectEnd({"extra", "-h"}, 1, "Error! Unexpected operand: extra\n");
    expectEnd({"-p", "f.ttf", "extra", "-x"}, 1, "Error! Unexpected operand: extra\n");
}

TEST_F(Settings, AnUnknownOptionEndsTheProcess) {
    expectEnd({"-p", "f.ttf", "-x"}, 1, "Error! Unexpected option: -x\n");
    expectEnd({"-x", "-h"}, 1, "Error! Unexpected option: -x\n");
    expectEnd({"-x", "-p"}, 1, "Error! Unexpected option: -x\n");
}

TEST_F(Settings, AMissingArgumentEndsTheProcess) {
    for (const char* option : {"-p", "-l", "-t", "-B", "-F", "-S", "-P", "-f"})
        expectEnd({"-p", "f.ttf", option}, 1,
                  std::string("Error! Option argument missing: ") + option + "\n");
}

TEST_F(Settings, HelpIsTheUsageLineAlone) {
    expectEnd({"-h"}, 0, "");
    expectEnd({"-h", "-p", "f.ttf"}, 0, "");
    expectEnd({"-p", "f.ttf", "-h"}, 0, "");
    expectEnd({"-h", "-x"}, 0, "");
}

TEST_F(Settings, UsageEndsWithTheGivenStatus) {
    for (const int status : {0, 1, 7}) {
        const ChildEnd end = runInChild([=] { printUsage(status); });
        EXPECT_EQ(end.exitStatus, status);
        EXPECT_EQ(end.err, kUsage);
        EXPECT_EQ(end.out, "");
    }
}

}  // namespace
