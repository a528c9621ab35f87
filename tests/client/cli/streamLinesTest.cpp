#include "cli/streamLines.h"

#include <gtest/gtest.h>

namespace {

TEST(StreamLines, GivesCompleteLinesAndHoldsTheRestBack) {
    StreamLines lines;
    lines.append("one\ntwo\nthr");
    EXPECT_EQ(lines.take(), "one\ntwo\n");
    EXPECT_EQ(lines.take(), "");
    lines.append("ee\n");
    EXPECT_EQ(lines.take(), "three\n");
    lines.append("four");
    EXPECT_EQ(lines.takeRest(), "four");
    EXPECT_EQ(lines.takeRest(), "");
}

TEST(StreamLines, KeepsEmptyLines) {
    StreamLines lines;
    lines.append("\n\nx\n\n");
    EXPECT_EQ(lines.take(), "\n\nx\n\n");
}

TEST(StreamLines, CutsALineThatIsLongerThanAPiece) {
    StreamLines lines;
    const std::string full(lines.room(), 'x');
    lines.append(full);
    EXPECT_EQ(lines.room(), 0u);
    EXPECT_EQ(lines.take(), full);
    EXPECT_EQ(lines.room(), StreamLines::kPieceBytes);
}

TEST(StreamLines, CutsBetweenCharacters) {
    for (const std::string character : {"ß", "€", "🙂"}) {
        for (size_t fitting = 1; fitting < character.size(); ++fitting) {
            StreamLines lines;
            const std::string before(lines.room() - fitting, 'x');
            lines.append(before + character.substr(0, fitting));
            EXPECT_EQ(lines.take(), before);
            EXPECT_EQ(lines.takeRest(), character.substr(0, fitting));
        }
    }
}

TEST(StreamLines, KeepsACharacterThatJustFits) {
    StreamLines lines;
    const std::string full = std::string(lines.room() - 3, 'x') + "€";
    lines.append(full);
    EXPECT_EQ(lines.take(), full);
}

TEST(StreamLines, AlwaysMovesOnWhateverTheBytes) {
    for (const char byte : {'\x80', '\xbf', '\xff', '\xf0', '\xc3'}) {
        StreamLines lines;
        lines.append(std::string(lines.room(), byte));
        EXPECT_FALSE(lines.take().empty());
        EXPECT_GT(lines.room(), 0u);
    }
}

}  // namespace
