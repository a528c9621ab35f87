#include "node/share/userShares.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <utility>

namespace {

constexpr uid_t kRoot = 0, kAnn = 1000, kBob = 1001, kCid = 1002;

class UserSharesTest : public testing::Test {
protected:
    UserShares shares_{{100, 200, 3}};
};

TEST_F(UserSharesTest, AUserMayHoldAsManyBytesAsItsShareAndNotOneMore) {
    EXPECT_TRUE(shares_.takeBytes(kAnn, 60));
    EXPECT_FALSE(shares_.takeBytes(kAnn, 41));
    EXPECT_TRUE(shares_.takeBytes(kAnn, 40));
    EXPECT_FALSE(shares_.takeBytes(kAnn, 1));
    EXPECT_FALSE(shares_.takeBytes(kBob, SIZE_MAX));
}

TEST_F(UserSharesTest, BytesThatWereRefusedAreNotHeld) {
    EXPECT_FALSE(shares_.takeBytes(kAnn, 101));
    EXPECT_EQ(shares_.users(), 0u);
    EXPECT_TRUE(shares_.takeBytes(kAnn, 100));
}

TEST_F(UserSharesTest, AllUsersTogetherMayHoldTwoShares) {
    EXPECT_TRUE(shares_.takeBytes(kAnn, 100));
    EXPECT_TRUE(shares_.takeBytes(kBob, 99));
    EXPECT_FALSE(shares_.takeBytes(kCid, 2));
    EXPECT_TRUE(shares_.takeBytes(kCid, 1));
    EXPECT_FALSE(shares_.takeBytes(kCid, 1));
}

TEST_F(UserSharesTest, RootHasAShareOfItsOwn) {
    EXPECT_TRUE(shares_.takeBytes(kAnn, 100));
    EXPECT_TRUE(shares_.takeBytes(kRoot, 100));
    EXPECT_FALSE(shares_.takeBytes(kRoot, 1));
    EXPECT_TRUE(shares_.takeBytes(kBob, 100));
    shares_.giveBytes(kRoot, 100);
    EXPECT_FALSE(shares_.takeBytes(kCid, 1));
}

TEST_F(UserSharesTest, BytesThatWereGivenBackCanBeTakenAgain) {
    for (int round = 0; round < 1000; ++round) {
        ASSERT_TRUE(shares_.takeBytes(kAnn, 100));
        ASSERT_TRUE(shares_.takeBytes(kBob, 100));
        shares_.giveBytes(kAnn, 100);
        shares_.giveBytes(kBob, 30);
        shares_.giveBytes(kBob, 70);
    }
    EXPECT_EQ(shares_.users(), 0u);
}

TEST_F(UserSharesTest, AUserMayHoldItsShareOfConnectionsAndNotOneMore) {
    for (int i = 0; i < 3; ++i)
        EXPECT_TRUE(shares_.takeConnection(kAnn));
    EXPECT_FALSE(shares_.takeConnection(kAnn));
    EXPECT_TRUE(shares_.takeConnection(kBob));
    shares_.giveConnection(kAnn);
    EXPECT_TRUE(shares_.takeConnection(kAnn));
    EXPECT_FALSE(shares_.takeConnection(kAnn));
}

TEST_F(UserSharesTest, RootMayHoldAnyNumberOfConnections) {
    for (int i = 0; i < 1000; ++i)
        EXPECT_TRUE(shares_.takeConnection(kRoot));
}

TEST_F(UserSharesTest, NoEntryStaysForAUserThatHoldsNothing) {
    for (uid_t user = 0; user < 1000; ++user) {
        EXPECT_TRUE(shares_.takeConnection(user));
        EXPECT_TRUE(shares_.takeBytes(user, 0));
        EXPECT_TRUE(shares_.takeBytes(user, 7));
        shares_.giveConnection(user);
        EXPECT_EQ(shares_.users(), 1u);
        shares_.giveBytes(user, 7);
        EXPECT_EQ(shares_.users(), 0u);
    }
    EXPECT_TRUE(shares_.takeBytes(kAnn, 0));
    EXPECT_EQ(shares_.users(), 0u);
    shares_.giveBytes(kAnn, 0);
    EXPECT_EQ(shares_.users(), 0u);
}

TEST_F(UserSharesTest, HeldBytesAreGivenBackOnce) {
    {
        HeldBytes held(&shares_, kAnn);
        EXPECT_TRUE(held.take(50));
        EXPECT_TRUE(held.take(50));
        EXPECT_FALSE(held.take(1));
        HeldBytes moved = std::move(held);
        EXPECT_FALSE(moved.take(1));
        EXPECT_FALSE(shares_.takeBytes(kAnn, 1));
        moved.giveBack();
        EXPECT_TRUE(moved.take(100));
        HeldBytes other(&shares_, kBob);
        EXPECT_TRUE(other.take(60));
        moved = std::move(other);
    }
    EXPECT_EQ(shares_.users(), 0u);
    EXPECT_TRUE(shares_.takeBytes(kAnn, 100));
    EXPECT_TRUE(shares_.takeBytes(kBob, 100));
}

TEST_F(UserSharesTest, HeldBytesThatMovedOnAreNotGivenBackTwice) {
    {
        HeldBytes held(&shares_, kAnn);
        EXPECT_TRUE(held.take(50));
        { const HeldBytes moved = std::move(held); }
        EXPECT_EQ(shares_.users(), 0u);
        EXPECT_TRUE(shares_.takeBytes(kAnn, 100));
    }
    EXPECT_FALSE(shares_.takeBytes(kAnn, 1));
}

TEST(UserSharesOfThisMachine, AreAnEighthOfItsMemoryAndAQuarterOfItsTable) {
    const uint64_t memory = static_cast<uint64_t>(sysconf(_SC_PHYS_PAGES)) *
                            static_cast<uint64_t>(sysconf(_SC_PAGESIZE));
    const UserShares::Limits limits = UserShares::ofThisMachine(4096);
    EXPECT_EQ(limits.userBytes, std::min<uint64_t>(64 << 20, memory / 8));
    EXPECT_EQ(limits.allBytes, 2 * limits.userBytes);
    EXPECT_EQ(limits.userConnections, 1024u);
}

}  // namespace
