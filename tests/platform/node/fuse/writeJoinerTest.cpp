// Which pieces make one write: by the system call's facts, and by offsets and sizes without them.
#include "node/fuse/writeJoiner.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

constexpr size_t kFull = 1000;  // the size of a full piece in these tests
constexpr CallFacts kUnknown = {};
constexpr CallFacts kRunning = {ClientCall::running, 0, 0, false};

CallFacts plain(uint64_t total, uint64_t argument = 0x1000) {
    return {ClientCall::plain, total, argument, true};
}

CallFacts positioned() {
    return {ClientCall::positioned, 0, 0x1000, false};
}

WritePiece piece(int64_t offset, size_t size, const CallFacts& facts, uint64_t handle = 1,
                 pid_t thread = 10) {
    WritePiece made;
    made.handle = handle;
    made.thread = thread;
    made.offset = offset;
    made.size = size;
    made.facts = facts;
    return made;
}

struct Step {
    WritePiece piece;
    PieceRole role;
    bool endsEarlier = false;  // the write before this piece has ended without its last piece
};

struct Case {
    const char* name;
    std::vector<Step> steps;
};

void PrintTo(const Case& test, std::ostream* out) {
    *out << test.name;
}

const Case kCases[] = {
    {"OnePieceThatIsAll", {{piece(0, 10, plain(10)), PieceRole::last}}},
    {"OneFullPieceThatIsAll", {{piece(0, kFull, plain(kFull)), PieceRole::last}}},
    {"TwoPieces",
     {{piece(0, kFull, plain(1500)), PieceRole::more},
      {piece(kFull, 500, plain(1500)), PieceRole::last}}},
    {"ShortPiecesOfAVector",
     {{piece(0, 3, plain(9)), PieceRole::more},
      {piece(3, 3, plain(9)), PieceRole::more},
      {piece(6, 3, plain(9)), PieceRole::last}}},
    {"WritesInARow",
     {{piece(0, 10, plain(10)), PieceRole::last},
      {piece(10, 10, plain(10)), PieceRole::last},
      {piece(20, 10, plain(10)), PieceRole::last}}},
    {"AMovedPositionIsStillAPlainWrite",
     {{piece(0, 10, plain(10)), PieceRole::last}, {piece(777, 10, plain(10)), PieceRole::last}}},
    {"APositionedWriteAtTheExpectedPlace", {{piece(0, 10, positioned()), PieceRole::positioned}}},
    {"AFullPositionedPieceLeavesNothingPending",
     {{piece(0, kFull, positioned()), PieceRole::positioned},
      {piece(kFull, kFull, positioned()), PieceRole::positioned},
      {piece(0, 10, plain(10)), PieceRole::last}}},
    {"TheSameThreadWritesSomethingElse",
     {{piece(0, kFull, plain(3000)), PieceRole::more},
      {piece(kFull, 200, plain(200, 0x2000)), PieceRole::last, true}}},
    {"TheSameCallAtAnotherPlace",
     {{piece(0, kFull, plain(3000)), PieceRole::more},
      {piece(500, kFull, plain(3000)), PieceRole::more, true}}},
    {"AnotherThreadWrites",
     {{piece(0, kFull, plain(3000)), PieceRole::more},
      {piece(kFull, 200, plain(200), 1, 11), PieceRole::last, true}}},
    {"AnotherDescriptorWrites",
     {{piece(0, kFull, plain(3000)), PieceRole::more},
      {piece(0, 200, plain(200), 2, 11), PieceRole::last, true}}},
    {"UnreadableShortPieceIsAll", {{piece(0, kFull - 1, kUnknown), PieceRole::last}}},
    {"UnreadableFullPieceGoesOn",
     {{piece(0, kFull, kUnknown), PieceRole::more},
      {piece(kFull, kFull, kUnknown), PieceRole::more},
      {piece(2 * kFull, 1, kUnknown), PieceRole::last}}},
    {"UnreadableWritesInARow",
     {{piece(0, 10, kUnknown), PieceRole::last}, {piece(10, 10, kUnknown), PieceRole::last}}},
    {"UnreadableAtAnUnexpectedPlaceIsPositioned",
     {{piece(5, 10, kUnknown), PieceRole::positioned},
      {piece(0, 10, kUnknown), PieceRole::last},
      {piece(0, 10, kUnknown), PieceRole::positioned}}},
    {"UnreadableExpectsWhereAReadableOneStopped",
     {{piece(300, 10, plain(10)), PieceRole::last}, {piece(310, 10, kUnknown), PieceRole::last}}},
    {"UnreadableFullPieceThatWasAll",
     {{piece(0, kFull, kUnknown), PieceRole::more},
      {piece(0, 7, kUnknown, 2, 11), PieceRole::last, true}}},
    {"APieceOfARunningThreadIsWhatThoseBeforeWere",
     {{piece(0, kFull, plain(2500)), PieceRole::more},
      {piece(kFull, kFull, kRunning), PieceRole::more},
      {piece(2 * kFull, 500, plain(2500)), PieceRole::last}}},
    {"TheLastPieceOfARunningThread",
     {{piece(0, kFull, plain(1500)), PieceRole::more},
      {piece(kFull, 500, kRunning), PieceRole::last}}},
    {"TheFirstPieceOfARunningThreadIsWhatTheNextOneIs",
     {{piece(0, kFull, kRunning), PieceRole::more},
      {piece(kFull, kFull, plain(3 * kFull)), PieceRole::more},
      {piece(2 * kFull, kFull, kRunning), PieceRole::last}}},
    {"ARunningThreadThatWritesMoreThanItWouldHasBegunAnew",
     {{piece(0, kFull, plain(1500)), PieceRole::more},
      {piece(kFull, 600, kRunning), PieceRole::last, true}}},
    {"ARunningThreadsFullPieceThatWasAll",
     {{piece(0, kFull, kRunning), PieceRole::more},
      {piece(kFull, 300, plain(300)), PieceRole::last, true}}},
    {"PiecesOfARunningThreadGoByTheirSizes",
     {{piece(0, kFull, kRunning), PieceRole::more},
      {piece(kFull, 20, kRunning), PieceRole::last},
      {piece(7, 20, kRunning), PieceRole::positioned}}},
    {"DescriptorsHaveTheirOwnPositions",
     {{piece(0, 10, kUnknown, 1), PieceRole::last},
      {piece(0, 10, kUnknown, 2), PieceRole::last},
      {piece(10, 10, kUnknown, 1), PieceRole::last}}},
};

class JoinerCases : public testing::TestWithParam<Case> {};

TEST_P(JoinerCases, PiecesGetTheirRoles) {
    WriteJoiner joiner(kFull);
    int number = 0;
    for (const Step& step : GetParam().steps) {
        SCOPED_TRACE(number++);
        const bool wasPending = joiner.pending();
        const bool endsEarlier = wasPending && !joiner.continues(step.piece);
        EXPECT_EQ(endsEarlier, step.endsEarlier);
        if (endsEarlier)
            joiner.finish();
        EXPECT_EQ(joiner.add(step.piece), step.role);
        EXPECT_EQ(joiner.pending(), step.role == PieceRole::more);
    }
}

INSTANTIATE_TEST_SUITE_P(Table, JoinerCases, testing::ValuesIn(kCases),
                         [](const auto& test) { return std::string(test.param.name); });

TEST(WriteJoiner, NoWriteIsTakenForLongerThanTheSystemWrites) {
    constexpr uint64_t kMost = 0x7ffff000, kPiece = 0x10000000;
    WriteJoiner joiner(kPiece);
    uint64_t offset = 0;
    for (; offset + kPiece < kMost; offset += kPiece)
        EXPECT_EQ(joiner.add(piece(static_cast<int64_t>(offset), kPiece, kUnknown)),
                  PieceRole::more);
    EXPECT_EQ(joiner.add(piece(static_cast<int64_t>(offset), kPiece, kUnknown)), PieceRole::last);
}

TEST(WriteJoiner, AppendedPiecesArePlainWhereverTheyAre) {
    WriteJoiner joiner(kFull);
    WritePiece appended = piece(12345, 10, kUnknown);
    appended.appends = true;
    EXPECT_EQ(joiner.add(appended), PieceRole::last);
}

TEST(WriteJoiner, APositionedPieceDoesNotMoveTheDescriptor) {
    WriteJoiner joiner(kFull);
    EXPECT_EQ(joiner.add(piece(500, 10, kUnknown)), PieceRole::positioned);
    EXPECT_EQ(joiner.add(piece(0, 10, kUnknown)), PieceRole::last);
}

TEST(WriteJoiner, ARefusedWriteLeavesTheDescriptorWhereItWas) {
    WriteJoiner joiner(kFull);
    const WritePiece refused = piece(0, 10, kUnknown);
    EXPECT_EQ(joiner.add(refused), PieceRole::last);
    joiner.refused(refused);
    EXPECT_EQ(joiner.add(piece(0, 10, kUnknown)), PieceRole::last);
}

TEST(WriteJoiner, AForgottenHandleStartsAtZeroAgain) {
    WriteJoiner joiner(kFull);
    EXPECT_EQ(joiner.add(piece(0, 10, kUnknown)), PieceRole::last);
    joiner.forget(1);
    EXPECT_EQ(joiner.add(piece(0, 10, kUnknown)), PieceRole::last);
}

TEST(WriteJoiner, OnlyItsOwnThreadsRequestsEndAPendingWrite) {
    WriteJoiner joiner(kFull);
    EXPECT_FALSE(joiner.endedByRequest(10));
    joiner.add(piece(0, kFull, plain(3000)));
    EXPECT_TRUE(joiner.endedByRequest(10));
    EXPECT_FALSE(joiner.endedByRequest(11));
    EXPECT_FALSE(joiner.endedByRequest(0));
}

TEST(WriteJoiner, AThreadThatIsNotVisibleGivesNoEvidence) {
    WriteJoiner joiner(kFull);
    joiner.add(piece(0, kFull, kUnknown, 1, 0));
    EXPECT_TRUE(joiner.pending());
    EXPECT_FALSE(joiner.endedByRequest(0));
}

TEST(WriteJoiner, AWriteMayGoOnWhileItsThreadIsInTheSameCall) {
    WriteJoiner joiner(kFull);
    joiner.add(piece(0, kFull, plain(3000)));
    EXPECT_TRUE(joiner.mayGoOn(plain(3000)));
    EXPECT_FALSE(joiner.mayGoOn(plain(3000, 0x2000)));
    EXPECT_FALSE(joiner.mayGoOn(kUnknown));
}

TEST(WriteJoiner, AThreadOnAProcessorMayStillBeWritingButNotForEver) {
    WriteJoiner joiner(kFull);
    joiner.add(piece(0, kFull, plain(3000)));
    EXPECT_TRUE(joiner.mayGoOn(kRunning));
    EXPECT_TRUE(joiner.mayGoOn(kRunning));
    joiner.add(piece(kFull, kFull, kRunning));
    int looks = 1;
    while (joiner.mayGoOn(kRunning))
        ++looks;
    EXPECT_EQ(looks, 8);
}

TEST(WriteJoiner, AWriteSeenOnlyAfterItsFirstPieceMayGoOn) {
    WriteJoiner joiner(kFull);
    joiner.add(piece(0, kFull, kRunning));
    EXPECT_TRUE(joiner.mayGoOn(plain(1500)));
    EXPECT_EQ(joiner.add(piece(kFull, 500, kRunning)), PieceRole::last);
    joiner.finish();
    joiner.add(piece(1500, kFull, kRunning));
    EXPECT_FALSE(joiner.mayGoOn(plain(20)));
}

TEST(WriteJoiner, AWriteThatCannotBeSeenEndsWithTheWait) {
    WriteJoiner joiner(kFull);
    joiner.add(piece(0, kFull, kUnknown));
    EXPECT_FALSE(joiner.mayGoOn(kUnknown));
    EXPECT_FALSE(joiner.mayGoOn(kRunning));
}

TEST(WriteJoiner, TheReleaseOfItsDescriptorEndsAPendingWrite) {
    WriteJoiner joiner(kFull);
    EXPECT_FALSE(joiner.endedByRelease(1));
    joiner.add(piece(0, kFull, plain(3000)));
    EXPECT_TRUE(joiner.endedByRelease(1));
    EXPECT_FALSE(joiner.endedByRelease(2));
}

TEST(WriteJoiner, TheCallIsReadUntilTheDescriptorIsKnown) {
    constexpr size_t kPage = 4096;
    WriteJoiner joiner(255 * kPage + 1);
    EXPECT_TRUE(joiner.needsFacts(piece(0, 10, kUnknown)));
    joiner.add(piece(0, 10, positioned()));
    EXPECT_TRUE(joiner.needsFacts(piece(0, 10, kUnknown)));
    joiner.add(piece(0, 10, plain(10)));
    EXPECT_FALSE(joiner.needsFacts(piece(10, 10, kUnknown)));
    EXPECT_FALSE(joiner.needsFacts(piece(10, 65536, kUnknown)));
    EXPECT_TRUE(joiner.needsFacts(piece(10, 65537, kUnknown)));
    EXPECT_TRUE(joiner.needsFacts(piece(9, 10, kUnknown)));      // not where it stopped
    EXPECT_TRUE(joiner.needsFacts(piece(10, 10, kUnknown, 2)));  // another descriptor
    EXPECT_EQ(joiner.add(piece(10, 10, kUnknown)), PieceRole::last);
    EXPECT_FALSE(joiner.needsFacts(piece(20, 10, kUnknown)));
    joiner.forget(1);
    EXPECT_TRUE(joiner.needsFacts(piece(20, 10, kUnknown)));
}

TEST(WriteJoiner, AfterAVectorTheCallIsReadForAllButTheSmallest) {
    WriteJoiner joiner(kFull);
    CallFacts vector = plain(10);
    vector.oneBlock = false;
    joiner.add(piece(0, 10, vector));
    EXPECT_FALSE(joiner.needsFacts(piece(10, 255, kUnknown)));
    EXPECT_TRUE(joiner.needsFacts(piece(10, 256, kUnknown)));
}

TEST(WriteJoiner, TheCallIsReadWhileAWriteIsPending) {
    WriteJoiner joiner(kFull);
    joiner.add(piece(0, 10, plain(30)));
    EXPECT_TRUE(joiner.needsFacts(piece(10, 10, kUnknown)));
}

// Every way to cut a write into pieces gives one message.
TEST(WriteJoiner, AnyCutOfAKnownWriteIsJoined) {
    constexpr size_t kTotal = 10;
    for (unsigned cuts = 0; cuts < 1u << (kTotal - 1); ++cuts) {
        WriteJoiner joiner(kFull);
        size_t start = 0;
        for (size_t end = 1; end <= kTotal; ++end) {
            const bool cutHere = end == kTotal || (cuts >> (end - 1) & 1);
            if (!cutHere)
                continue;
            const WritePiece part = piece(static_cast<int64_t>(start), end - start, plain(kTotal));
            ASSERT_EQ(joiner.pending() && !joiner.continues(part), false);
            ASSERT_EQ(joiner.add(part), end == kTotal ? PieceRole::last : PieceRole::more);
            start = end;
        }
    }
}

}  // namespace
