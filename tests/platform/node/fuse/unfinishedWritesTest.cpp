// Pieces that are kept until their write is whole, and what they take of a user's share.
#include "node/fuse/unfinishedWrites.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <string>

namespace {

constexpr size_t kOne = UnfinishedWrites::kShareOfOne;
constexpr Writer kFirst = {1, 10, 1000};
constexpr Writer kSecond = {1, 11, 1000};

class UnfinishedWritesTest : public testing::Test {
protected:
    std::string take(const Writer& writer) {
        const auto taken =
            writes_.takeOne([&](const UnfinishedWrite& write) { return write.isOf(writer); });
        if (taken.empty())
            return "none";
        return {taken.front().bytes.data(), taken.front().bytes.size()};
    }

    UserShares shares_{{2 * kOne + 10, 3 * kOne, 1}};
    UnfinishedWrites writes_{&shares_};
};

TEST_F(UnfinishedWritesTest, PiecesOfOneWriterAreJoinedInOrder) {
    EXPECT_EQ(writes_.append(kFirst, "ab", 2, 2), 0);
    EXPECT_EQ(writes_.append(kSecond, "xy", 2, 2), 0);
    EXPECT_EQ(writes_.append(kFirst, "cd", 2, 4), 0);
    EXPECT_EQ(writes_.find(kFirst)->next, 4u);
    EXPECT_EQ(take(kFirst), "abcd");
    EXPECT_EQ(take(kFirst), "none");
    EXPECT_EQ(take(kSecond), "xy");
    EXPECT_TRUE(writes_.empty());
}

TEST_F(UnfinishedWritesTest, OpensAndThreadsAreToldApart) {
    EXPECT_EQ(writes_.append(kFirst, "ab", 2, 2), 0);
    EXPECT_EQ(writes_.find(kSecond), nullptr);
    EXPECT_EQ(writes_.find({2, 10, 1000}), nullptr);
    EXPECT_NE(writes_.find({1, 10, 4}), nullptr);
}

TEST_F(UnfinishedWritesTest, APieceBeyondTheShareChangesNothing) {
    EXPECT_EQ(writes_.append(kFirst, "abcdef", 6, 6), 0);
    const std::string more(2 * kOne + 5, 'x');
    for (int i = 0; i < 2; ++i)
        EXPECT_EQ(writes_.append(kFirst, more.data(), more.size(), 99), ENOBUFS);
    EXPECT_EQ(writes_.find(kFirst)->next, 6u);
    EXPECT_EQ(writes_.append(kFirst, more.data(), more.size() - 1, 99), 0);
    EXPECT_EQ(writes_.append(kSecond, "a", 1, 1), ENOBUFS);
    EXPECT_EQ(writes_.find(kSecond), nullptr);
    EXPECT_EQ(take(kFirst), "abcdef" + more.substr(1));
    EXPECT_EQ(writes_.append(kSecond, "a", 1, 1), 0);
}

TEST_F(UnfinishedWritesTest, ManySmallOnesAreBoundedToo) {
    EXPECT_EQ(writes_.append(kFirst, "a", 1, 1), 0);
    EXPECT_EQ(writes_.append(kSecond, "a", 1, 1), 0);
    EXPECT_EQ(writes_.append({2, 12, 1000}, "a", 1, 1), ENOBUFS);
    EXPECT_EQ(writes_.append({2, 12, 1001}, "a", 1, 1), 0);
}

TEST_F(UnfinishedWritesTest, TheShareIsGivenBackEachTime) {
    for (int i = 0; i < 100; ++i) {
        EXPECT_EQ(writes_.append(kFirst, "abcdef", 6, 6), 0);
        EXPECT_EQ(take(kFirst), "abcdef");
        EXPECT_EQ(shares_.users(), 0u);
    }
}

TEST_F(UnfinishedWritesTest, SecondsCountSinceTheLastPiece) {
    EXPECT_EQ(writes_.append(kFirst, "ab", 2, 2), 0);
    writes_.countSecond();
    writes_.countSecond();
    EXPECT_EQ(writes_.find(kFirst)->quietSeconds, 2);
    EXPECT_EQ(writes_.append(kFirst, "cd", 2, 4), 0);
    EXPECT_EQ(writes_.find(kFirst)->quietSeconds, 0);
}

}  // namespace
