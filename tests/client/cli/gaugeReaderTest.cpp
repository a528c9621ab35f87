#include "cli/gaugeReader.h"

#include <gmock/gmock.h>

#include <vector>

namespace {

using testing::ElementsAre;

class GaugeReaderTest : public testing::Test {
protected:
    std::vector<int> percents;
    std::vector<std::string> texts;
    GaugeReader reader{[this](int percent) { percents.push_back(percent); },
                       [this](const std::string& line) { texts.push_back(line); }};
};

TEST_F(GaugeReaderTest, TakesNumbersOnLinesOfTheirOwn) {
    reader.feed("0\n 12 \r\n50%\n99.7\n100");
    EXPECT_THAT(percents, ElementsAre(0, 12, 50, 99));
    reader.end();
    EXPECT_THAT(percents, ElementsAre(0, 12, 50, 99, 100));
    EXPECT_THAT(texts, ElementsAre());
}

TEST_F(GaugeReaderTest, TakesBlocksWithAPercentAndText) {
    reader.feed("XXX\n40\nWriting the kernel\nsecond line\nXXX\n41\n");
    EXPECT_THAT(percents, ElementsAre(40, 41));
    EXPECT_THAT(texts, ElementsAre("Writing the kernel", "second line"));
}

TEST_F(GaugeReaderTest, NumbersInABlocksTextAreText) {
    reader.feed("XXX\n40\n3\n2\nXXX\n");
    EXPECT_THAT(percents, ElementsAre(40));
    EXPECT_THAT(texts, ElementsAre("3", "2"));
}

TEST_F(GaugeReaderTest, ABlockMayHaveNoPercentOrNoText) {
    reader.feed("XXX\nonly text\nXXX\nXXX\n9\nXXX\nXXX\nXXX\n10\n");
    EXPECT_THAT(percents, ElementsAre(9, 10));
    EXPECT_THAT(texts, ElementsAre("only text"));
}

TEST_F(GaugeReaderTest, BreaksABlocksTextWhereItSaysSo) {
    reader.feed("XXX\n1\none\\ntwo\nXXX\n");
    EXPECT_THAT(texts, ElementsAre("one", "two"));
}

TEST_F(GaugeReaderTest, AnythingElseIsText) {
    reader.feed("dd: error writing\n1 2\n12a\n1.\n--5\n");
    EXPECT_THAT(percents, ElementsAre());
    EXPECT_THAT(texts, ElementsAre("dd: error writing", "1 2", "12a", "1.", "--5"));
}

TEST_F(GaugeReaderTest, InputMayComeInAnyPieces) {
    for (const char c : std::string("XXX\n40\ntext\nXXX\n41\n"))
        reader.feed({&c, 1});
    EXPECT_THAT(percents, ElementsAre(40, 41));
    EXPECT_THAT(texts, ElementsAre("text"));
}

TEST_F(GaugeReaderTest, ALineThatNeverEndsComesInParts) {
    reader.feed(std::string(2 * GaugeReader::kLongestLine, 'x'));
    EXPECT_THAT(texts, testing::SizeIs(2));
}

}  // namespace
