// Rows as the splitter cuts them, and what holds for any text and any font.
#include "text/lineSplit.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <random>
#include <set>
#include <vector>

#include "console/consoleModel.h"
#include "support/linkWraps.h"
#include "support/serviceTest.h"
#include "text/fontAtlas.h"
#include "text/textDraw.h"

namespace {

using Lines = std::vector<std::string>;

// Monospaced, advance 10, on 120 pixels: the wrap width is 100, so nine characters fit.
class LineSplit : public ServiceTest {
protected:
    void SetUp() override {
        ServiceTest::SetUp();
        useMonospacedAtlas();
        useArea(120, 480);
    }
};

Lines split(std::string text) {
    clearConsole();
    appendTextLines(&consoleList, text.data());
    return consoleRows();
}

TEST_F(LineSplit, WrapsAtTheLastSpaceThatFits) {
    EXPECT_EQ(split("hello world"), (Lines{"hello", "world"}));
    EXPECT_EQ(split("a b c d e f g"), (Lines{"a b c d", "e f g"}));
}

TEST_F(LineSplit, CutsAWordWithoutASpaceAtTheWidth) {
    EXPECT_EQ(split("abcdefghijklmnop"), (Lines{"abcdefghi", "jklmnop"}));
}

TEST_F(LineSplit, NewlineWinsOverAnEarlierSpace) {
    EXPECT_EQ(split("ab cd\nef"), (Lines{"ab cd", "ef"}));
}

TEST_F(LineSplit, OneTrailingNewlineAddsNoEmptyLine) {
    EXPECT_EQ(split("line\n"), (Lines{"line"}));
}

TEST_F(LineSplit, EachFurtherNewlineAddsAnEmptyLine) {
    EXPECT_EQ(split("line\n\n"), (Lines{"line", ""}));
    EXPECT_EQ(split("line\n\n\nx"), (Lines{"line", "", "", "x"}));
    EXPECT_EQ(split("\n"), (Lines{""}));
    EXPECT_EQ(split("\n\n\nx"), (Lines{"", "", "", "x"}));
}

TEST_F(LineSplit, AnEmptyTextAddsNothing) {
    EXPECT_EQ(split(""), Lines{});
}

TEST_F(LineSplit, ANullTextAddsNothing) {
    appendTextLines(&consoleList, nullptr);
    EXPECT_EQ(consoleRows(), Lines{});
}

TEST_F(LineSplit, OnlyTheSpaceBrokenAtIsConsumed) {
    EXPECT_EQ(split("aaaa  bbbbbbb"), (Lines{"aaaa ", "bbbbbbb"}));
    EXPECT_EQ(split("abcdefgh   xyz"), (Lines{"abcdefgh", "  xyz"}));
}

TEST_F(LineSplit, ATextThatJustFitsStaysWhole) {
    EXPECT_EQ(split("123456789"), (Lines{"123456789"}));
    EXPECT_EQ(split("ab cd efg"), (Lines{"ab cd efg"}));
    EXPECT_EQ(split("1234567890"), (Lines{"123456789", "0"}));
}

TEST_F(LineSplit, ASpaceAtTheVeryStartIsABreakPlaceToo) {
    EXPECT_EQ(split(" bcdefghijk"), (Lines{"", "bcdefghij", "k"}));
}

TEST_F(LineSplit, ANewlineRightBehindAFullRowEndsThatRow) {
    EXPECT_EQ(split("123456789\nx"), (Lines{"123456789", "x"}));
    EXPECT_EQ(split("ab cd efg\nx"), (Lines{"ab cd efg", "x"}));
}

TEST_F(LineSplit, AddsBehindWhatTheListHolds) {
    addLine("first");
    char text[] = "hello world";
    appendTextLines(&consoleList, text);
    EXPECT_EQ(consoleRows(), (Lines{"first", "hello", "world"}));
}

TEST_F(LineSplit, EntriesAreTextLinesWithCopiesOfTheirOwn) {
    char text[] = "hello";
    appendTextLines(&consoleList, text);
    ASSERT_NE(consoleList, nullptr);
    EXPECT_EQ(consoleList->entry->name, nullptr);
    EXPECT_NE(consoleList->entry->text, text);
    EXPECT_EQ(consoleList->next, nullptr);
}

TEST_F(LineSplit, LeavesNulWhereItWrappedAndRestoresTheRest) {
    char text[] = "hello world\nabcdefghijk";
    appendTextLines(&consoleList, text);
    EXPECT_EQ(std::string(text, sizeof(text) - 1), std::string("hello\0world\nabcdefghijk", 23));
}

TEST_F(LineSplit, KeepsOneNodeOneEntryAndOneCopyALine) {
    std::string text = "hello world\nx";
    const HeapWatch heap;
    appendTextLines(&consoleList, text.data());
    EXPECT_EQ(heap.kept(), 3 * 3);
}

TEST_F(LineSplit, ACharacterTooWideForAnyRowGetsARowOfItsOwn) {
    fontAtlas.glyphs['W'].advance = 100;
    EXPECT_EQ(split("W"), (Lines{"W"}));
    EXPECT_EQ(split("aWWb"), (Lines{"a", "W", "W", "b"}));
    EXPECT_EQ(split("W\nW"), (Lines{"W", "W"}));
    EXPECT_EQ(split("a W b"), (Lines{"a", "W", " b"}));
}

TEST_F(LineSplit, ATooWideSpaceIsARowToo) {
    fontAtlas.glyphs[' '].advance = 1000;
    EXPECT_EQ(split("a b"), (Lines{"a", " ", "b"}));
}

TEST_F(LineSplit, ANegativeAdvanceNeverFits) {
    fontAtlas.glyphs['n'].advance = -1;
    EXPECT_EQ(split("anb"), (Lines{"a", "n", "b"}));
}

TEST_F(LineSplit, OnAnAreaNarrowerThanTheMarginOnlyNewlinesEndRows) {
    useArea(19, 480);
    const std::string longText(1000, 'x');
    EXPECT_EQ(split(longText + " y\nz"), (Lines{longText + " y", "z"}));
}

TEST_F(LineSplit, OnAnAreaAsWideAsTheMarginEachCharacterIsARow) {
    useArea(20, 480);
    EXPECT_EQ(split("abc\nd"), (Lines{"a", "b", "c", "d"}));
}

TEST_F(LineSplit, BytesWithoutATraceAlwaysFitAndAreLeftOutOfTheCopy) {
    const std::string accented(50, '\xe9');
    EXPECT_EQ(split("ab" + accented + "cd"), (Lines{"abcd"}));
    EXPECT_EQ(split(accented + "\n" + accented), (Lines{"", ""}));
}

TEST_F(LineSplit, BytesWithoutATraceCountWhereRowsAreCut) {
    // The byte before the wide character is a piece of its own, as it was when it was kept.
    fontAtlas.glyphs['W'].advance = 100;
    EXPECT_EQ(split("\xe9W"), (Lines{"", "W"}));
    EXPECT_EQ(split("ab\xe9 \xe9 12345678"), (Lines{"ab ", "12345678"}));
}

TEST_F(LineSplit, AZeroAdvanceWithAShapeAndAnAdvanceWithoutOneAreKept) {
    fontAtlas.glyphs['^'].advance = 0;
    fontAtlas.glyphs['_'].width = 0;
    fontAtlas.glyphs['|'] = {};
    EXPECT_EQ(split("a^b_c|d"), (Lines{"a^b_cd"}));
}

TEST_F(LineSplit, WithoutAFontOnlyNewlinesEndRowsAndNothingIsKeptOfThem) {
    fontAtlas = {};
    EXPECT_EQ(split(std::string(1000, 'x') + "\ny"), (Lines{"", ""}));
}

TEST_F(LineSplit, KeepsOfOneTextNoMoreRowsThanCanBeSeen) {
    consoleVisibleRows = 3;
    EXPECT_EQ(split("1\n2\n3"), (Lines{"1", "2", "3"}));
    EXPECT_EQ(split("1\n2\n3\n4\n5"), (Lines{"3", "4", "5"}));
    consoleVisibleRows = 0;
    EXPECT_EQ(split("1\n2"), Lines{});
    consoleVisibleRows = -1;
    EXPECT_EQ(split("1\n2"), Lines{});
}

TEST_F(LineSplit, NeedsNoMoreRoomForALongTextThanForTheRowsThatCanBeSeen) {
    consoleVisibleRows = 6;
    std::string text(10000, '\n');
    heapWraps.failingSize = 7 * 2 * sizeof(size_t);  // a place for each row, and one spare
    EXPECT_FALSE(appendTextLines(&consoleList, text.data()));
    heapWraps.failingSize = 0;
    EXPECT_TRUE(appendTextLines(&consoleList, text.data()));
}

TEST_F(LineSplit, WithoutMemoryForASecondRowTheFirstIsGivenBack) {
    useArea(4000, 480);
    std::string text = "first\n" + std::string(100, 'x');
    heapWraps.failingSize = 101;
    const HeapWatch heap;
    EXPECT_FALSE(appendTextLines(&consoleList, text.data()));
    EXPECT_EQ(heap.kept(), 0);
    EXPECT_EQ(consoleRows(), Lines{});
}

TEST_F(LineSplit, WithoutMemoryTheListStaysAsItIs) {
    addLine("before");
    std::string text = "hello world, and a line of one hundred bytes " + std::string(100, 'x');
    useArea(4000, 480);
    for (const size_t size : {text.size() + 1, sizeof(ConsoleNode)}) {
        heapWraps.failingSize = size;
        const HeapWatch heap;
        EXPECT_FALSE(appendTextLines(&consoleList, text.data()));
        EXPECT_EQ(heap.kept(), 0);
        EXPECT_EQ(consoleRows(), (Lines{"before"}));
    }
    heapWraps.failingSize = 0;
    EXPECT_TRUE(appendTextLines(&consoleList, text.data()));
    EXPECT_EQ(consoleRows().size(), 2u);
}

TEST_F(LineSplit, ALongTextTakesTimeInStepWithItsLength) {
    // A walk from the head for each of these lines would visit twenty thousand million nodes.
    const std::string text(200000, '\n');
    EXPECT_EQ(split(text).size(), 200000u);
}

// A text of letters, spaces and newlines, the mix drawn too.
std::string randomText(std::mt19937* random) {
    const std::string alphabet = "abcdefgh   \n\t.iW";
    std::string text(std::uniform_int_distribution<size_t>(0, 300)(*random), '\0');
    const size_t letters = std::uniform_int_distribution<size_t>(1, alphabet.size())(*random);
    for (char& c : text)
        c = alphabet[std::uniform_int_distribution<size_t>(0, letters - 1)(*random)];
    return text;
}

// Where the text can go on behind `line`, which ends at `end`: a newline there is consumed, a space
// may be, and nothing is where a row without a space or of one character was cut.
void addContinuations(const std::string& text, const std::string& line, size_t end,
                      std::set<size_t>* places) {
    if (end < text.size() && (text[end] == '\n' || text[end] == ' '))
        places->insert(end + 1);
    const bool mayBeCut =
        line.find(' ') == std::string::npos || line.size() == 1 || end == text.size();
    if (mayBeCut && (end == text.size() || text[end] != '\n'))
        places->insert(end);
}

// Whether `lines`, with at most one space or newline gone between two, make up the whole text.
bool keepsEveryCharacter(const std::string& text, const Lines& lines) {
    std::set<size_t> places = {0};
    for (const std::string& line : lines) {
        std::set<size_t> next;
        for (const size_t at : places) {
            if (text.compare(at, line.size(), line) == 0)
                addContinuations(text, line, at + line.size(), &next);
        }
        places = next;
    }
    return places.count(text.size()) != 0;
}

class LineSplitProperties : public LineSplit {
protected:
    std::mt19937 random{20240607};

    void drawMetrics() {
        for (GlyphInfo& glyph : fontAtlas.glyphs)
            glyph.advance = std::uniform_int_distribution<int32_t>(0, 30)(random);
        fontAtlas.glyphs['W'].advance = 500;
        useArea(std::uniform_int_distribution<uint32_t>(20, 400)(random), 480);
    }
};

TEST_F(LineSplitProperties, EveryCharacterStaysButConsumedSpacesAndNewlines) {
    for (int i = 0; i < 2000; ++i) {
        drawMetrics();
        const std::string text = randomText(&random);
        const Lines lines = split(text);
        ASSERT_TRUE(keepsEveryCharacter(text, lines)) << "case " << i << ": " << text;
    }
}

TEST_F(LineSplitProperties, NothingButSpacesAndNewlinesIsEverConsumed) {
    const auto separator = [](char c) { return c == ' ' || c == '\n'; };
    for (int i = 0; i < 2000; ++i) {
        drawMetrics();
        std::string text = randomText(&random);
        std::string joined;
        for (const std::string& line : split(text))
            joined += line;
        text.erase(std::remove_if(text.begin(), text.end(), separator), text.end());
        joined.erase(std::remove_if(joined.begin(), joined.end(), separator), joined.end());
        ASSERT_EQ(joined, text) << "case " << i;
    }
}

TEST_F(LineSplitProperties, NoLineReachesTheWrapWidthUnlessItIsOneCharacter) {
    for (int i = 0; i < 2000; ++i) {
        drawMetrics();
        for (const std::string& line : split(randomText(&random))) {
            const bool fits = textWidth(line.c_str()) < static_cast<int32_t>(area.width) - 20;
            ASSERT_TRUE(fits || line.size() <= 1) << "case " << i << ": " << line;
        }
    }
}

TEST_F(LineSplitProperties, NoLineHoldsANewline) {
    for (int i = 0; i < 2000; ++i) {
        drawMetrics();
        for (const std::string& line : split(randomText(&random)))
            ASSERT_EQ(line.find('\n'), std::string::npos) << "case " << i;
    }
}

TEST_F(LineSplitProperties, SplittingALineThatWasCutGivesThatLine) {
    for (int i = 0; i < 500; ++i) {
        drawMetrics();
        for (const std::string& line : split(randomText(&random))) {
            if (line.empty())
                continue;
            ASSERT_EQ(split(line), Lines{line}) << "case " << i;
        }
    }
}

}  // namespace
