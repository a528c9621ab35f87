#include "cli/percentReader.h"

#include <gtest/gtest.h>

#include <fstream>

#include "support/temporaryFolder.h"

namespace {

struct Case {
    const char* line;
    std::optional<int> percent;
};

TEST(PercentReader, FindsMarkedPercents) {
    constexpr std::nullopt_t kNone = std::nullopt;
    const Case cases[] = {
        {"12%", 12},
        {"  7 %", 7},
        {"progress: 45.9% done", 45},
        {"######################                                             31.4%", 31},
        {"      1,234,567  45%  1.23MB/s    0:00:01 (xfr#1, to-chk=0/1)", 45},
        {"disk 5% full, written 60%", 60},
        {"[ 66%] Building", 66},
        {"100%", 100},
        {"0%", 0},
        {"101%", kNone},
        {"99999999999999999999999%", kNone},
        {"%", kNone},
        {"100 percent", kNone},
        {"%d items", kNone},
        {"v12%", kNone},
        {"-5%", kNone},
        {"a % b, 30% c %", 30},
        {"", kNone},
    };
    for (const Case& one : cases)
        EXPECT_EQ(PercentReader().read(one.line), one.percent) << one.line;
}

TEST(PercentReader, ReadsATransferTableOnceItsHeadWasSeen) {
    const char* row =
        " 42 1000M   42  420M    0     0   100M      0  0:00:10  0:00:04  0:00:06  99M";
    PercentReader reader;
    EXPECT_EQ(reader.read(row), std::nullopt);
    EXPECT_EQ(reader.read("  % Total    % Received % Xferd  Average Speed   Time    Time"),
              std::nullopt);
    EXPECT_EQ(reader.read("                                 Dload  Upload   Total   Spent"),
              std::nullopt);
    EXPECT_EQ(reader.read(row), 42);
    EXPECT_EQ(
        reader.read("  0     0    0     0    0     0      0      0 --:--:-- --:--:-- --:--:-- 0"),
        0);
}

TEST(PercentReader, RatesBytesCopiedByTheTotal) {
    const char* line = "524288000 bytes (524 MB, 500 MiB) copied, 1.5 s, 350 MB/s";
    EXPECT_EQ(PercentReader(1048576000).read(line), 50);
    EXPECT_EQ(PercentReader(1000).read(line), 100);
    EXPECT_EQ(PercentReader(0).read(line), std::nullopt);
    EXPECT_EQ(PercentReader().read(line), std::nullopt);
    EXPECT_EQ(PercentReader(1000).read("1 byte copied, 0.1 s, 0 kB/s"), 0);
    EXPECT_EQ(PercentReader(1000).read("100+0 records in"), std::nullopt);
}

TEST(CopyTotal, ComesFromCountAndBlockSize) {
    EXPECT_EQ(copyTotalOf({"dd", "if=/dev/zero", "bs=1M", "count=100"}), 104857600u);
    EXPECT_EQ(copyTotalOf({"/bin/dd", "count=3"}), 1536u);
    EXPECT_EQ(copyTotalOf({"dd", "count=3", "ibs=2kB"}), 6000u);
    EXPECT_EQ(copyTotalOf({"dd", "count=3", "bs=1M", "iflag=count_bytes"}), 3u);
}

TEST(CopyTotal, ComesFromTheSizeOfTheInput) {
    const TemporaryFolder folder;
    const std::string input = folder.file("image");
    std::ofstream(input) << std::string(10000, 'x');
    EXPECT_EQ(copyTotalOf({"dd", "if=" + input}), 10000u);
    EXPECT_EQ(copyTotalOf({"dd", "if=" + input, "bs=1000", "skip=4"}), 6000u);
    EXPECT_EQ(copyTotalOf({"dd", "if=" + input, "bs=1000", "skip=40"}), 0u);
    EXPECT_EQ(copyTotalOf({"dd", "if=" + input, "bs=1000", "count=2"}), 2000u);
    EXPECT_EQ(copyTotalOf({"dd", "if=" + input, "bs=1000", "count=200"}), 10000u);
}

TEST(CopyTotal, IsUnknownOtherwise) {
    EXPECT_EQ(copyTotalOf({}), std::nullopt);
    EXPECT_EQ(copyTotalOf({"dd", "if=/dev/zero"}), std::nullopt);
    EXPECT_EQ(copyTotalOf({"dd", "if=/nonexistent"}), std::nullopt);
    EXPECT_EQ(copyTotalOf({"dd", "count=lots"}), std::nullopt);
    EXPECT_EQ(copyTotalOf({"dd", "count=99999999999999999T"}), std::nullopt);
    EXPECT_EQ(copyTotalOf({"cp", "count=3"}), std::nullopt);
}

}  // namespace
