// Which piece may be followed by another, and which two belong together.
#include "node/fuse/pieceRules.h"

#include <gtest/gtest.h>

namespace {

using Kind = ThreadCall::Kind;

constexpr PieceRules kFile = {256, false};
constexpr PieceRules kDevice = {32, true};

ThreadCall call(Kind kind, uint64_t count, uint64_t ended = 0) {
    return {kind, count, ended};
}

TEST(PieceRules, AFullPieceTouchesNoMorePagesThanARequestHas) {
    EXPECT_EQ(kFile.blockPiece(), 255u * 4096 + 1);
    EXPECT_EQ(kDevice.blockPiece(), 31u * 4096 + 1);
}

TEST(PieceRules, ABlockGoesOnUntilAllOfItIsThere) {
    const ThreadCall block = call(Kind::block, 1000);
    EXPECT_TRUE(kDevice.mayGoOn(500, 0, block));
    EXPECT_TRUE(kDevice.mayGoOn(499, 500, block));
    EXPECT_FALSE(kDevice.mayGoOn(500, 500, block));
    EXPECT_FALSE(kDevice.mayGoOn(1000, 0, block));
}

TEST(PieceRules, FewerBytesThanPagesAreAlwaysTheEnd) {
    for (const Kind kind : {Kind::unseen, Kind::running, Kind::block, Kind::vector}) {
        EXPECT_FALSE(kDevice.mayGoOn(30, 0, call(kind, 1000)));
        EXPECT_FALSE(kFile.mayGoOn(254, 0, call(kind, 1000)));
    }
    EXPECT_TRUE(kDevice.mayGoOn(31, 0, call(Kind::vector, 1000)));
    EXPECT_TRUE(kFile.mayGoOn(255, 0, call(Kind::vector, 1000)));
}

TEST(PieceRules, AVectorsPieceGoesOnIfItMayFillARequest) {
    EXPECT_TRUE(kDevice.mayGoOn(31, 0, call(Kind::vector, 16)));
    EXPECT_FALSE(kDevice.mayGoOn(2 * 4096 - 1, 0, call(Kind::vector, 15)));
    EXPECT_TRUE(kDevice.mayGoOn(2 * 4096, 0, call(Kind::vector, 15)));
    EXPECT_FALSE(kFile.mayGoOn(252 * 4096 - 1, 0, call(Kind::vector, 2)));
    EXPECT_TRUE(kFile.mayGoOn(252 * 4096, 0, call(Kind::vector, 2)));
}

TEST(PieceRules, WhatIsNotSeenIsTakenForABlock) {
    EXPECT_FALSE(kFile.mayGoOn(kFile.blockPiece() - 1, 0, {}));
    EXPECT_TRUE(kFile.mayGoOn(kFile.blockPiece(), 0, {}));
    EXPECT_TRUE(kFile.mayGoOn(255, 0, call(Kind::running, 0)));
}

TEST(PieceRules, PiecesOfAFileBelongTogetherUntilTheThreadsWriteEnds) {
    EXPECT_TRUE(kFile.sameCall(call(Kind::block, 9, 4), call(Kind::block, 9, 4)));
    EXPECT_FALSE(kFile.sameCall(call(Kind::block, 9, 4), call(Kind::block, 9, 5)));
    EXPECT_FALSE(kFile.sameCall(call(Kind::vector, 9, 4), call(Kind::block, 9, 4)));
    EXPECT_TRUE(kFile.sameCall(call(Kind::running, 0), call(Kind::block, 9, 5)));
    EXPECT_TRUE(kFile.sameCall(call(Kind::block, 9, 5), {}));
}

TEST(PieceRules, PiecesOfADeviceBelongTogetherByTheirOffsets) {
    EXPECT_TRUE(kDevice.sameCall(call(Kind::block, 9, 4), call(Kind::vector, 9, 5)));
}

}  // namespace
