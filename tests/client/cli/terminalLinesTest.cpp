#include "cli/terminalLines.h"

#include <gmock/gmock.h>

#include <vector>

namespace {

using std::string_literals::operator""s;
using testing::ElementsAre;

class TerminalLinesTest : public testing::Test {
protected:
    std::vector<std::string> linesOf(std::string_view bytes) {
        lines.feed(bytes);
        return given;
    }

    std::vector<std::string> given;
    std::vector<std::string> progress;
    TerminalLines lines{[this](std::string line) { given.push_back(std::move(line)); },
                        [this](std::string_view line) { progress.emplace_back(line); }};
};

TEST_F(TerminalLinesTest, EndAtNewlinesWithOrWithoutACarriageReturn) {
    EXPECT_THAT(linesOf("one\ntwo\r\n\nthree"), ElementsAre("one", "two", ""));
    lines.end();
    EXPECT_THAT(given, ElementsAre("one", "two", "", "three"));
    lines.end();
    EXPECT_THAT(given, ElementsAre("one", "two", "", "three"));
}

TEST_F(TerminalLinesTest, ACarriageReturnStartsTheLineAnew) {
    EXPECT_THAT(linesOf("1%\r50%\r100%\n"), ElementsAre("100%"));
    EXPECT_THAT(progress, ElementsAre("1%", "50%", "100%"));
}

TEST_F(TerminalLinesTest, ProgressShowsAnUnfinishedLineOnceForEveryChange) {
    lines.feed("do");
    lines.feed("ne");
    lines.feed("");
    EXPECT_THAT(progress, ElementsAre("do", "done"));
    EXPECT_THAT(given, ElementsAre());
}

TEST_F(TerminalLinesTest, EscapeSequencesVanish) {
    EXPECT_THAT(linesOf("\x1b[1;31mred\x1b[0m\x1b[K\x1b]0;title\a \x1b]8;;x\x1b\\link\x1b=\n"),
                ElementsAre("red link"));
}

TEST_F(TerminalLinesTest, EscapeSequencesMayComeInPieces) {
    for (const char c : "\x1b[1;31mred\x1b]0;t\x1b\\!\n"s)
        lines.feed({&c, 1});
    EXPECT_THAT(given, ElementsAre("red!"));
}

TEST_F(TerminalLinesTest, TabsBecomeBlanksAndOtherControlsVanish) {
    EXPECT_THAT(linesOf("a\tb\0\x01\x7f"
                        "c\n"s),
                ElementsAre("a       bc"));
}

TEST_F(TerminalLinesTest, ABackspaceTakesTheLastCharacterAway) {
    EXPECT_THAT(linesOf("abc\b\bxß\b\n\b\b\n"), ElementsAre("ax", ""));
}

TEST_F(TerminalLinesTest, ALineThatIsTooLongComesInParts) {
    const std::string full(TerminalLines::kLongestLine, 'x');
    EXPECT_THAT(linesOf(full + "yz\n"), ElementsAre(full, "yz"));
}

TEST_F(TerminalLinesTest, PartsOfALongLineKeepTheirCharactersWhole) {
    const std::string before(TerminalLines::kLongestLine - 1, 'x');
    EXPECT_THAT(linesOf(before + "ßy\n"), ElementsAre(before + "ß", "y"));
}

}  // namespace
