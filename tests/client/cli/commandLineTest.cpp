#include "cli/commandLine.h"

#include <gmock/gmock.h>

namespace {

using testing::ElementsAre;

CommandLine parsed(const std::vector<std::string>& arguments) {
    CommandLine line;
    EXPECT_EQ(parseCommandLine(arguments, &line), "");
    return line;
}

std::string wrongIn(const std::vector<std::string>& arguments) {
    CommandLine line;
    return parseCommandLine(arguments, &line);
}

TEST(CommandLine, OptionsComeBeforeAndAfterTheVerb) {
    const CommandLine line =
        parsed({"-q", "--device", "/a", "status", "--timeout=2.5", "--ascii", "pass", "text"});
    EXPECT_EQ(line.verb, "status");
    EXPECT_TRUE(line.options.quiet);
    EXPECT_EQ(line.options.device, "/a");
    EXPECT_EQ(line.options.timeLimit, 2500u);
    EXPECT_EQ(line.options.textMode, VELKARIS_TEXT_PASS);
    EXPECT_THAT(line.operands, ElementsAre("text"));
}

TEST(CommandLine, OptionsEndAtTheFirstOperand) {
    const CommandLine line = parsed({"write", "-q", "a", "-d", "--help"});
    EXPECT_TRUE(line.options.quiet);
    EXPECT_FALSE(line.options.help);
    EXPECT_THAT(line.operands, ElementsAre("a", "-d", "--help"));
}

TEST(CommandLine, TwoDashesEndTheOptions) {
    EXPECT_THAT(parsed({"write", "--", "--help"}).operands, ElementsAre("--help"));
    EXPECT_THAT(parsed({"write", "--", "--"}).operands, ElementsAre("--"));
    EXPECT_EQ(parsed({"--", "status", "x"}).verb, "status");
}

TEST(CommandLine, NegativeNumbersAndASingleDashAreOperands) {
    EXPECT_THAT(parsed({"percent", "-5"}).operands, ElementsAre("-5"));
    EXPECT_THAT(parsed({"write", "-"}).operands, ElementsAre("-"));
}

TEST(CommandLine, LettersClusterAndTakeTheirValueFromTheRest) {
    const CommandLine line = parsed({"-qd/a", "-t", "0", "status"});
    EXPECT_TRUE(line.options.quiet);
    EXPECT_EQ(line.options.device, "/a");
    EXPECT_EQ(line.options.timeLimit, unsigned(VELKARIS_NO_TIME_LIMIT));
}

TEST(CommandLine, AVerbsOwnOptionsBelongToItAlone) {
    EXPECT_EQ(parsed({"demo", "--seconds", "5"}).options.seconds, 5u);
    EXPECT_EQ(parsed({"run", "--item=i", "--label=", "ls", "-l"}).options.label, "");
    EXPECT_EQ(parsed({"tail", "-n5", "file"}).options.lines, 5u);
    EXPECT_EQ(wrongIn({"--seconds", "5", "demo"}), "unknown option --seconds");
    EXPECT_EQ(wrongIn({"status", "-n5"}), "unknown option -n");
}

TEST(CommandLine, SaysWhatIsWrong) {
    EXPECT_EQ(wrongIn({"--bogus"}), "unknown option --bogus");
    EXPECT_EQ(wrongIn({"status", "-qx"}), "unknown option -x");
    EXPECT_EQ(wrongIn({"--device"}), "option --device needs a value");
    EXPECT_EQ(wrongIn({"--device="}), "option --device cannot be ''");
    EXPECT_EQ(wrongIn({"--quiet=yes"}), "option --quiet takes no value");
    EXPECT_EQ(wrongIn({"-t", "soon"}), "option -t cannot be 'soon'");
    EXPECT_EQ(wrongIn({"-t", "-1"}), "option -t cannot be '-1'");
    EXPECT_EQ(wrongIn({"-t", "nan"}), "option -t cannot be 'nan'");
    EXPECT_EQ(wrongIn({"--ascii=latin"}), "option --ascii cannot be 'latin'");
    EXPECT_EQ(wrongIn({"wait", "--seconds=-1"}), "option --seconds cannot be '-1'");
}

TEST(CommandLine, ATinyTimeoutIsNotTakenForNone) {
    EXPECT_EQ(parsed({"-t", "0.0001"}).options.timeLimit, 1u);
}

TEST(Numbers, AreWholeAndNothingElse) {
    EXPECT_EQ(parseNumber("42"), 42);
    EXPECT_EQ(parseNumber("+42"), 42);
    EXPECT_EQ(parseNumber("-2147483648"), INT32_MIN);
    for (const char* wrong : {"", " 4", "4 ", "4x", "+-4", "+", "0x4", "2147483648"})
        EXPECT_EQ(parseNumber(wrong), std::nullopt) << wrong;
}

TEST(Numbers, APercentMayHaveItsSign) {
    EXPECT_EQ(parsePercent("42%"), 42);
    EXPECT_EQ(parsePercent("150"), 150);
    EXPECT_EQ(parsePercent("%"), std::nullopt);
    EXPECT_EQ(parsePercent("4%%"), std::nullopt);
}

}  // namespace
