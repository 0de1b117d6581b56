// The transposition table: the three bounds of an entry, replacement, aging, mate distances,
// sizes and the empty table.
#include <gtest/gtest.h>

#include <unistd.h>

#include <string>

#include "board/position.h"
#include "board/ordering.h"
#include "book/book.h"
#include "book/learn.h"
#include "eval/evaluate.h"
#include "frontend/command.h"
#include "frontend/game.h"
#include "frontend/input.h"
#include "frontend/settings.h"
#include "search/tables.h"
#include "search/think.h"
#include "search/tt.h"
#include "tablebases/tbprobe.h"
#include "tests/unit/test_main_setup.h"

namespace {

constexpr int MATE = 32700;
constexpr int INF  = 32700;

// The position is reduced to its key: no castling rights and no history, so that PositionKey()
// is exactly the key asked for and a test can aim at a chosen bucket.
void SetKey(u64 key, int side = WHITE) {
    thread_board.CastleRights = 0;
    HistoryCount              = 0;
    thread_board.HashKey      = key ^ ZobristCastle[0];
    thread_board.SideToMove   = side;
}

// Keys that share the low 32 bits share the bucket.
u64 InBucket(uint32_t index, uint32_t n) {
    return (u64(n + 1) << 32) | index;
}

struct ProbeResult {
    int kind       = 0;
    int alpha      = 0;
    int mateThreat = 0;
    int allowNull  = 1;
    int cutoff     = -1;
    Move move      = 0xFFFFFFFF;
    SingularData singular{};
};

ProbeResult Probe(int depth, int alpha, int beta, int isPv = 0, int ply = 0) {
    ProbeResult r;
    r.alpha = alpha;
    r.kind  = TranspositionProbe(depth, &r.alpha, beta, &r.mateThreat, &r.move, &r.allowNull, &r.cutoff, isPv,
                                 ply, &r.singular);
    return r;
}

const TranspositionEntry* Entry(int index) {
    return &TranspositionTable[index];
}

const Move E2E4 = MakeMoveWord(12, 28, PAWN);
const Move G1F3 = MakeMoveWord(6, 21, KNIGHT);

class TranspositionTest : public ::testing::Test {
  protected:
    void SetUp() override {
        InitTablesForTests();
        SetTranspositionEntries(64);
        SearchStamp = 7;
    }
    void TearDown() override { SetTranspositionEntries(0); }
};

// ---------------------------------------------------------------------------------------------
// Sizes and indexing

TEST_F(TranspositionTest, SizesAreMegabytesOverTwentyFourIn64Bits) {
    EXPECT_EQ(TranspositionEntriesForMb(64), (64LL << 20) / 24);
    EXPECT_EQ(TranspositionEntriesForMb(10), 436906);
    EXPECT_EQ(TranspositionEntriesForMb(1), 43690);
    EXPECT_EQ(TranspositionEntriesForMb(0), 0);
    // The largest table would overflow a 32-bit shift by 2048 MB; the range stops at 1024.
    EXPECT_EQ(TranspositionEntriesForMb(1024), 44739242);
    EXPECT_EQ(TranspositionEntriesForMb(4096), 44739242);
    EXPECT_EQ(TranspositionEntriesForMb(-5), 0);

    SetTranspositionSize(64);
    EXPECT_EQ(TranspositionEntries, 2796202);
    ASSERT_NE(TranspositionTable, nullptr);
    // The whole block, spare entries included, is usable and clear.
    EXPECT_EQ(Entry(0)->Key, ~0ULL);
    EXPECT_EQ(Entry(2796202 + 9)->Info, 0u);
    EXPECT_EQ(SearchStamp, 0);
}

TEST_F(TranspositionTest, StartUpAllocatesTheConfiguredSize) {
    SetDefaultSettings();
    AllocateTables();
    EXPECT_EQ(TranspositionEntries, 0x80000);
    ASSERT_NE(TranspositionTable, nullptr);
    EXPECT_EQ(Entry(0)->Key, ~0ULL);
    EXPECT_EQ(Entry(0)->Info, 0u);

    // The default size is indexed by a mask of the low 19 bits.
    SearchStamp = 1;
    SetKey(0xABCDEF0123456789ULL, BLACK);
    TranspositionStore(8, E2E4, 10, TT_EXACT, 0, 0, 0);
    EXPECT_EQ(Entry((0x23456789 ^ 4) & 0x7FFFF)->Key, 0xABCDEF0123456789ULL);
    EXPECT_EQ(Probe(8, -INF, INF).kind, TT_EXACT);
}

TEST_F(TranspositionTest, IndexTakesTheSideAsThirdBitAndTheLow32BitsModuloTheSize) {
    SetKey(0x500000008ULL, WHITE);
    TranspositionStore(4, E2E4, 1, TT_EXACT, 0, 0, 0);
    SetKey(0x500000008ULL, BLACK);
    TranspositionStore(4, G1F3, 2, TT_EXACT, 0, 0, 0);
    EXPECT_EQ(Entry(8)->Info & TT_MOVE_MASK, E2E4);
    EXPECT_EQ(Entry(12)->Info & TT_MOVE_MASK, G1F3);
    EXPECT_EQ(Entry(12)->Info & TT_SIDE_BIT, TT_SIDE_BIT);

    SetTranspositionEntries(1000);
    SetKey(0x77700000000ULL + 123456789, BLACK);
    TranspositionStore(4, E2E4, 1, TT_EXACT, 0, 0, 0);
    EXPECT_EQ(Entry((123456789 ^ 4) % 1000)->Info & TT_MOVE_MASK, E2E4);
}

TEST_F(TranspositionTest, TheSideToMoveIsPartOfTheIdentity) {
    // In a table of one entry every position shares one bucket, so only the side bit tells the
    // two sides of one key apart.
    SetTranspositionEntries(1);
    SetKey(42, WHITE);
    TranspositionStore(8, E2E4, 10, TT_EXACT, 0, 0, 0);
    SetKey(42, BLACK);
    EXPECT_EQ(Probe(0, -INF, INF).kind, 0);
    EXPECT_EQ(TableMove(), 0u);
    TranspositionStore(8, G1F3, -10, TT_EXACT, 0, 0, 0);
    EXPECT_EQ(TableMove(), G1F3);
    SetKey(42, WHITE);
    EXPECT_EQ(TableMove(), E2E4);
}

TEST_F(TranspositionTest, ATableOfOneEntryWorksThroughTheSpareEntries) {
    SetTranspositionEntries(1);
    for (uint32_t n = 0; n < 4; n++) {
        SetKey(InBucket(0, n));
        TranspositionStore(8, E2E4 + n, int(n), TT_EXACT, 0, 0, 0);
    }
    for (uint32_t n = 0; n < 4; n++) {
        SetKey(InBucket(0, n));
        ProbeResult r = Probe(8, -INF, INF);
        EXPECT_EQ(r.kind, TT_EXACT);
        EXPECT_EQ(r.alpha, int(n));
        EXPECT_EQ(r.move, E2E4 + n);
    }
}

// ---------------------------------------------------------------------------------------------
// The three bounds of one entry

TEST_F(TranspositionTest, ThreeBoundsLiveSideBySide) {
    SetKey(5);
    TranspositionStore(12, E2E4, 40, TT_UPPER, 0, 0, 0);
    TranspositionStore(16, G1F3, 90, TT_LOWER, 0, 0, 0);
    TranspositionStore(8, 0, 60, TT_EXACT, 0, 0, 0);
    const TranspositionEntry* e = Entry(5);
    EXPECT_EQ(e->EntryFlags, TT_UPPER_VALID | TT_LOWER_VALID | TT_EXACT_VALID);
    EXPECT_EQ(e->UpperValue, 40);
    EXPECT_EQ(e->UpperDepth, 12);
    EXPECT_EQ(e->LowerValue, 90);
    EXPECT_EQ(e->LowerDepth, 16);
    EXPECT_EQ(e->ExactValue, 60);
    EXPECT_EQ(e->ExactDepth, 8);
    // The last written bound names the kind; a store without a move keeps the stored one.
    EXPECT_EQ(e->Info, (uint32_t(TT_EXACT) << 21) | G1F3);
    EXPECT_EQ(Entry(6)->Info, 0u);
    // An upper bound below the lower bound is kept as it is: each test reads one bound.
    TranspositionStore(12, 0, 20, TT_UPPER, 0, 0, 0);
    EXPECT_EQ(e->UpperValue, 20);
    EXPECT_EQ(e->LowerValue, 90);
}

TEST_F(TranspositionTest, AShallowerBoundChangesOnlyStampAndMemo) {
    SetKey(9);
    TranspositionStore(10, E2E4, -50, TT_UPPER, 0, 0, 0);
    TranspositionStore(30, E2E4, 200, TT_LOWER, 0, MEMO_NO_QUIET_CHECK, 0);
    TranspositionEntry before = *Entry(9);

    SearchStamp = 8;
    TranspositionStore(20, G1F3, 500, TT_LOWER, 1, MEMO_NO_CAPTURE, 0);
    const TranspositionEntry* e = Entry(9);
    EXPECT_EQ(e->Stamp, 8);
    EXPECT_EQ(e->EntryFlags, before.EntryFlags | MEMO_NO_CAPTURE);
    EXPECT_EQ(e->EntryFlags & TT_MEMO_MASK, MEMO_NO_QUIET_CHECK | MEMO_NO_CAPTURE);
    EXPECT_EQ(e->Info, before.Info);
    EXPECT_EQ(e->LowerValue, 200);
    EXPECT_EQ(e->LowerDepth, 30);
    EXPECT_EQ(e->UpperValue, -50);
    EXPECT_EQ(e->UpperDepth, 10);
    EXPECT_EQ(HashfullCount, 1);
}

TEST_F(TranspositionTest, EqualDepthBoundsKeepTheTighterValue) {
    SetKey(3);
    TranspositionStore(16, 0, 100, TT_LOWER, 0, 0, 0);
    TranspositionStore(16, 0, 120, TT_LOWER, 0, 0, 0);
    EXPECT_EQ(Entry(3)->LowerValue, 120);
    TranspositionStore(16, 0, 110, TT_LOWER, 0, 0, 0);
    EXPECT_EQ(Entry(3)->LowerValue, 120);
    TranspositionStore(16, 0, 120, TT_LOWER, 0, 0, 0);
    EXPECT_EQ(Entry(3)->LowerValue, 120);
    // Any deeper bound replaces, even a looser one.
    TranspositionStore(20, 0, -300, TT_LOWER, 0, 0, 0);
    EXPECT_EQ(Entry(3)->LowerValue, -300);
    EXPECT_EQ(Entry(3)->LowerDepth, 20);

    TranspositionStore(16, 0, 100, TT_UPPER, 0, 0, 0);
    TranspositionStore(16, 0, 80, TT_UPPER, 0, 0, 0);
    EXPECT_EQ(Entry(3)->UpperValue, 80);
    TranspositionStore(16, 0, 90, TT_UPPER, 0, 0, 0);
    TranspositionStore(12, 0, -500, TT_UPPER, 0, 0, 0);
    EXPECT_EQ(Entry(3)->UpperValue, 80);
    EXPECT_EQ(Entry(3)->UpperDepth, 16);
    // A bound that is kept keeps its move and kind too.
    uint32_t info = Entry(3)->Info;
    TranspositionStore(16, G1F3, 80, TT_UPPER, 1, 0, 0);
    TranspositionStore(20, G1F3, -300, TT_LOWER, 1, 0, 0);
    EXPECT_EQ(Entry(3)->Info, info);
}

TEST_F(TranspositionTest, AnExactScoreOfEqualDepthAlwaysReplaces) {
    SetKey(4);
    TranspositionStore(16, 0, 100, TT_EXACT, 0, 0, 0);
    TranspositionStore(16, 0, 30, TT_EXACT, 0, 0, 0);
    EXPECT_EQ(Entry(4)->ExactValue, 30);
    TranspositionStore(16, 0, 300, TT_EXACT, 0, 0, 0);
    EXPECT_EQ(Entry(4)->ExactValue, 300);
    TranspositionStore(12, E2E4, 0, TT_EXACT, 0, 0, 0);
    EXPECT_EQ(Entry(4)->ExactValue, 300);
    EXPECT_EQ(Entry(4)->Info & TT_MOVE_MASK, 0u);
}

TEST_F(TranspositionTest, InfoCarriesMoveKindSideAndMateThreatOfTheLastWrite) {
    SetKey(11, BLACK);
    TranspositionStore(8, E2E4, 5, TT_LOWER, 1, 0, 0);
    EXPECT_EQ(Entry(15)->Info, E2E4 | (2u << 21) | TT_SIDE_BIT | TT_MATE_THREAT);
    TranspositionStore(8, G1F3, 5, TT_UPPER, 0, 0, 0);
    EXPECT_EQ(Entry(15)->Info, G1F3 | (1u << 21) | TT_SIDE_BIT);
    // Depths beyond a byte are cut to 255.
    TranspositionStore(1000, 0, 5, TT_EXACT, 0, 0, 0);
    EXPECT_EQ(Entry(15)->ExactDepth, 255);
}

// ---------------------------------------------------------------------------------------------
// Probing

TEST_F(TranspositionTest, AMissClearsMoveAndCutoffAndLeavesTheRest) {
    SetKey(20);
    ProbeResult r = Probe(8, 10, 20);
    EXPECT_EQ(r.kind, 0);
    EXPECT_EQ(r.move, 0u);
    EXPECT_EQ(r.cutoff, 0);
    EXPECT_EQ(r.alpha, 10);
    EXPECT_EQ(r.allowNull, 1);
    EXPECT_EQ(r.mateThreat, 0);
    EXPECT_EQ(r.singular.Valid, 0);
}

TEST_F(TranspositionTest, BoundsCutOnlyWhenDeepEnoughAndOnTheRightSide) {
    SetKey(21);
    TranspositionStore(16, E2E4, 150, TT_LOWER, 0, 0, 0);
    ProbeResult r = Probe(16, 50, 100);
    EXPECT_EQ(r.kind, TT_LOWER);
    EXPECT_EQ(r.cutoff, 1);
    EXPECT_EQ(r.alpha, 150);
    EXPECT_EQ(r.move, E2E4);
    EXPECT_EQ(Probe(20, 50, 100).cutoff, 0); // too shallow
    EXPECT_EQ(Probe(16, 50, 151).cutoff, 0); // below beta
    EXPECT_EQ(Probe(16, 50, 150).cutoff, 1);
    EXPECT_EQ(Probe(16, 50, 100, 1).cutoff, 0); // PV node
    r = Probe(20, 50, 100);
    EXPECT_EQ(r.kind, 1);
    EXPECT_EQ(r.alpha, 50);
    EXPECT_EQ(r.move, E2E4);

    SetKey(22);
    TranspositionStore(16, 0, -40, TT_UPPER, 0, 0, 0);
    r = Probe(12, 0, 10);
    EXPECT_EQ(r.kind, TT_UPPER);
    EXPECT_EQ(r.alpha, -40);
    EXPECT_EQ(Probe(12, -41, 10).cutoff, 0);
    EXPECT_EQ(Probe(12, -40, 10).cutoff, 1);
    EXPECT_EQ(Probe(12, 0, 10, 1).cutoff, 0);

    // An exact score decides at PV nodes too, whatever the window.
    SetKey(23);
    TranspositionStore(16, G1F3, 77, TT_EXACT, 0, 0, 0);
    r = Probe(16, 100, 200, 1);
    EXPECT_EQ(r.kind, TT_EXACT);
    EXPECT_EQ(r.alpha, 77);
    EXPECT_EQ(Probe(17, -INF, INF, 1).cutoff, 0);
}

TEST_F(TranspositionTest, TheBoundWrittenLastIsTestedFirst) {
    SetKey(24);
    TranspositionStore(16, 0, 50, TT_EXACT, 0, 0, 0);
    TranspositionStore(16, 0, 300, TT_LOWER, 0, 0, 0);
    ProbeResult r = Probe(16, 100, 200);
    EXPECT_EQ(r.kind, TT_LOWER);
    EXPECT_EQ(r.alpha, 300);
    // At a PV node the lower bound cannot decide, so the exact score does.
    r = Probe(16, 100, 200, 1);
    EXPECT_EQ(r.kind, TT_EXACT);
    EXPECT_EQ(r.alpha, 50);

    TranspositionStore(20, 0, 60, TT_EXACT, 0, 0, 0);
    r = Probe(16, 100, 200);
    EXPECT_EQ(r.kind, TT_EXACT);
    EXPECT_EQ(r.alpha, 60);
    TranspositionStore(16, 0, 80, TT_UPPER, 0, 0, 0);
    r = Probe(16, 100, 200);
    EXPECT_EQ(r.kind, TT_UPPER);
    EXPECT_EQ(r.alpha, 80);
    // Exact before lower when the last kind cannot decide.
    r = Probe(16, 50, 200);
    EXPECT_EQ(r.kind, TT_EXACT);
    EXPECT_EQ(r.alpha, 60);
    r = Probe(24, 100, 200);
    EXPECT_EQ(r.kind, 1);
    EXPECT_EQ(r.cutoff, 0);
}

TEST_F(TranspositionTest, NullMoveIsForbiddenBelowBetaAndMateThreatIsHandedOver) {
    SetKey(25);
    TranspositionStore(4, 0, 500, TT_LOWER, 1, 0, 0);
    ProbeResult r = Probe(40, 0, 100);
    EXPECT_EQ(r.allowNull, 1);
    EXPECT_EQ(r.mateThreat, 1);
    TranspositionStore(4, 0, 90, TT_UPPER, 0, 0, 0);
    r = Probe(40, 0, 100);
    EXPECT_EQ(r.allowNull, 0);
    EXPECT_EQ(r.mateThreat, 0);
    EXPECT_EQ(Probe(40, 0, 90).allowNull, 1);

    SetKey(26);
    TranspositionStore(4, 0, 99, TT_EXACT, 0, 0, 0);
    EXPECT_EQ(Probe(40, 0, 100).allowNull, 0);
    EXPECT_EQ(Probe(40, 0, 99).allowNull, 1);
}

TEST_F(TranspositionTest, SingularDataNeedsABoundAtMostTwoPliesShort) {
    SetKey(27);
    TranspositionStore(24, 0, 120, TT_LOWER, 0, 0, 0);
    ProbeResult r = Probe(32, -INF, INF);
    EXPECT_EQ(r.singular.Valid, 1);
    EXPECT_EQ(r.singular.Value, 120);
    EXPECT_EQ(r.singular.Depth, 24);
    EXPECT_EQ(Probe(33, -INF, INF).singular.Valid, 0);

    TranspositionStore(20, 0, 80, TT_EXACT, 0, 0, 0);
    r = Probe(28, -INF, INF);
    EXPECT_EQ(r.singular.Value, 80);
    EXPECT_EQ(r.singular.Depth, 20);
    // Out of the exact score's reach, the lower bound still serves.
    r = Probe(30, -INF, INF);
    EXPECT_EQ(r.singular.Value, 120);
    EXPECT_EQ(r.singular.Depth, 24);

    SetKey(28);
    TranspositionStore(40, 0, 120, TT_UPPER, 0, 0, 0);
    EXPECT_EQ(Probe(32, -INF, INF).singular.Valid, 0);
}

TEST_F(TranspositionTest, HitsRefreshTheStampButTableMoveDoesNot) {
    SetKey(29);
    TranspositionStore(8, E2E4, 0, TT_EXACT, 0, 0, 0);
    SearchStamp = 9;
    EXPECT_EQ(TableMove(), E2E4);
    EXPECT_EQ(Entry(29)->Stamp, 7);
    Probe(8, -INF, INF);
    EXPECT_EQ(Entry(29)->Stamp, 9);
    SearchStamp = 10;
    int alpha   = -INF, cutoff, memo, floor;
    Move move;
    QuiesceProbe(&alpha, INF, &move, &cutoff, 0, 0, &memo, &floor);
    EXPECT_EQ(Entry(29)->Stamp, 10);
    SearchStamp = 11;
    RootProbe(&alpha, INF, &move, &cutoff, 1, 0);
    EXPECT_EQ(Entry(29)->Stamp, 11);
}

TEST_F(TranspositionTest, CaptureSearchProbeHasNoDepthTestAndHandsOverMemoAndFloor) {
    int alpha, cutoff, memo, floor;
    Move move;
    SetKey(30);
    alpha = 0;
    EXPECT_EQ(QuiesceProbe(&alpha, 100, &move, &cutoff, 0, 0, &memo, &floor), 0);
    EXPECT_EQ(memo, 0);
    EXPECT_EQ(floor, -MATE);

    TranspositionStore(0, E2E4, 40, TT_LOWER, 0, MEMO_NO_CAPTURE, 0);
    alpha = 0;
    EXPECT_EQ(QuiesceProbe(&alpha, 100, &move, &cutoff, 0, 0, &memo, &floor), 1);
    EXPECT_EQ(cutoff, 0);
    EXPECT_EQ(alpha, 0);
    EXPECT_EQ(memo, MEMO_NO_CAPTURE);
    EXPECT_EQ(floor, 40);
    EXPECT_EQ(move, E2E4);
    alpha = 0;
    QuiesceProbe(&alpha, 100, &move, &cutoff, 1, 0, &memo, &floor);
    EXPECT_EQ(floor, -MATE);

    // A deep search's bound serves the capture search as well.
    TranspositionStore(40, 0, 150, TT_LOWER, 0, 0, 0);
    alpha = 0;
    EXPECT_EQ(QuiesceProbe(&alpha, 100, &move, &cutoff, 0, 0, &memo, &floor), TT_LOWER);
    EXPECT_EQ(cutoff, 1);
    EXPECT_EQ(alpha, 150);

    SetKey(31);
    TranspositionStore(0, G1F3, -20, TT_EXACT, 0, 0, 0);
    alpha = -INF;
    EXPECT_EQ(RootProbe(&alpha, INF, &move, &cutoff, 1, 0), TT_EXACT);
    EXPECT_EQ(alpha, -20);
    EXPECT_EQ(move, G1F3);
}

// ---------------------------------------------------------------------------------------------
// Mate scores

TEST_F(TranspositionTest, ExactMateScoresKeepTheirDistanceFromTheNode) {
    // The side to move at ply 5 mates at ply 10 (mate in 3): read at ply 9 it mates at ply 14.
    SetKey(40);
    TranspositionStore(8, 0, MATE - 10, TT_EXACT, 0, 0, 5);
    EXPECT_EQ(Entry(40)->ExactValue, MATE - 5);
    EXPECT_EQ(Probe(8, -INF, INF, 1, 9).alpha, MATE - 14);
    EXPECT_EQ(Probe(8, -INF, INF, 1, 5).alpha, MATE - 10);

    SetKey(41);
    TranspositionStore(8, 0, -(MATE - 10), TT_EXACT, 0, 0, 5);
    EXPECT_EQ(Probe(8, -INF, INF, 1, 9).alpha, -(MATE - 14));
    EXPECT_EQ(Probe(8, -INF, INF, 1, 1).alpha, -(MATE - 6));

    for (int ply : {0, 1, 17, 100, 249}) {
        for (int value : {MATE - ply - 1, -(MATE - ply - 2), 31700 - ply, ply - 31700, 31001, -31001, 31000,
                          -31000, 0, 555}) {
            SetKey(42);
            TranspositionStore(255, 0, value, TT_EXACT, 0, 0, ply);
            EXPECT_EQ(Probe(8, -INF, INF, 1, ply).alpha, value) << "ply " << ply;
        }
    }
    // Scores up to the mate bound are no mate scores and are stored as they are.
    SetKey(43);
    TranspositionStore(8, 0, 31000, TT_EXACT, 0, 0, 20);
    EXPECT_EQ(Entry(43)->ExactValue, 31000);
    TranspositionStore(8, 0, -31000, TT_EXACT, 0, 0, 20);
    EXPECT_EQ(Entry(43)->ExactValue, -31000);
}

TEST_F(TranspositionTest, BoundsAreCutAtTheMateBound) {
    SetKey(44);
    TranspositionStore(8, 0, MATE - 3, TT_LOWER, 0, 0, 2);
    EXPECT_EQ(Entry(44)->LowerValue, 31000);
    ProbeResult r = Probe(8, 0, 31000, 0, 7);
    EXPECT_EQ(r.kind, TT_LOWER);
    EXPECT_EQ(r.alpha, 31000);
    EXPECT_EQ(Probe(8, 0, 31001, 0, 7).cutoff, 0);
    TranspositionStore(8, 0, -(MATE - 3), TT_UPPER, 0, 0, 2);
    EXPECT_EQ(Entry(44)->UpperValue, -31000);
    r = Probe(8, -31000, 0, 0, 7);
    EXPECT_EQ(r.kind, TT_UPPER);
    EXPECT_EQ(r.alpha, -31000);
    // A lower bound of a mated score and an upper bound of a mating one are no mate claims.
    TranspositionStore(12, 0, -(MATE - 3), TT_LOWER, 0, 0, 2);
    TranspositionStore(12, 0, MATE - 3, TT_UPPER, 0, 0, 2);
    EXPECT_EQ(Entry(44)->LowerValue, -(MATE - 3));
    EXPECT_EQ(Entry(44)->UpperValue, MATE - 3);
}

// ---------------------------------------------------------------------------------------------
// Replacement and aging

class ReplacementTest : public TranspositionTest {
  protected:
    // Four positions of one bucket, each with one bound of the given depths.
    void FillBucket(const int depths[4], const Move moves[4]) {
        for (uint32_t n = 0; n < 4; n++) {
            SetKey(InBucket(16, n));
            TranspositionStore(depths[n], moves[n], 0, TT_EXACT, 0, 0, 0);
        }
    }
    // Looks without a probe, which would refresh the stamp.
    static bool Present(uint32_t n) {
        for (int i = 16; i < 20; i++)
            if (Entry(i)->Info != 0 && Entry(i)->Key == InBucket(16, n)) return true;
        return false;
    }
};

TEST_F(ReplacementTest, AFullBucketOfThisSearchGivesWayOnlyToAsDeepAResult) {
    const Move moves[4] = {E2E4, E2E4, E2E4, E2E4};
    for (int kind : {TT_UPPER, TT_LOWER, TT_EXACT}) {
        SetTranspositionEntries(64);
        SearchStamp         = 3;
        const int depths[4] = {4, 4, 4, 4};
        FillBucket(depths, moves);
        SetKey(InBucket(16, 0));
        TranspositionStore(12, 0, 0, kind, 0, 0, 0);
        ASSERT_EQ(Entry(16)->Stamp, 3);

        SetKey(InBucket(16, 4));
        TranspositionStore(8, G1F3, 0, TT_LOWER, 0, 0, 0);
        EXPECT_FALSE(Present(4)) << "kind " << kind;
        EXPECT_TRUE(Present(0));
        EXPECT_EQ(HashfullCount, 4);
    }

    SetTranspositionEntries(64);
    SearchStamp         = 3;
    const int depths[4] = {8, 12, 12, 12};
    FillBucket(depths, moves);
    SetKey(InBucket(16, 4));
    TranspositionStore(8, G1F3, 0, TT_LOWER, 0, 0, 0);
    EXPECT_TRUE(Present(4));
    EXPECT_FALSE(Present(0));
    EXPECT_EQ(Entry(16)->Info & TT_MOVE_MASK, G1F3);
    EXPECT_EQ(Entry(16)->EntryFlags, TT_LOWER_VALID);
    EXPECT_EQ(Entry(16)->ExactDepth, 0);
    // Taking an entry of this search is no new use of the table.
    EXPECT_EQ(HashfullCount, 4);
}

TEST_F(ReplacementTest, EntriesOfOlderSearchesGoFirst) {
    const Move moves[4] = {E2E4, E2E4, E2E4, E2E4};
    const int depths[4] = {40, 40, 40, 40};
    SearchStamp         = 3;
    FillBucket(depths, moves);
    SearchStamp   = 4;
    HashfullCount = 0;
    // Two of them are seen again in the new search.
    for (uint32_t n : {0u, 2u}) {
        SetKey(InBucket(16, n));
        Probe(0, -INF, INF);
    }
    SetKey(InBucket(16, 4));
    TranspositionStore(4, G1F3, 0, TT_UPPER, 0, 0, 0);
    EXPECT_TRUE(Present(4));
    EXPECT_FALSE(Present(1));
    EXPECT_TRUE(Present(3));
    EXPECT_EQ(HashfullCount, 1);

    SetKey(InBucket(16, 5));
    TranspositionStore(4, G1F3, 0, TT_UPPER, 0, 0, 0);
    EXPECT_FALSE(Present(3));
    EXPECT_EQ(HashfullCount, 2);
    // Now all four are of this search, and a shallow result fails.
    SetKey(InBucket(16, 6));
    TranspositionStore(4, G1F3, 0, TT_UPPER, 0, 0, 0);
    EXPECT_FALSE(Present(6));
}

TEST_F(ReplacementTest, AnEntryWithNoMoveAndNoDepthIsTheCheapestOfItsAge) {
    const Move moves[4] = {E2E4, E2E4, 0, 0};
    const int depths[4] = {20, 20, 0, 0};
    SearchStamp         = 3;
    FillBucket(depths, moves);
    SetKey(InBucket(16, 4));
    TranspositionStore(0, G1F3, 0, TT_UPPER, 0, 0, 0);
    EXPECT_TRUE(Present(4));
    EXPECT_FALSE(Present(2));
    EXPECT_TRUE(Present(3));
    EXPECT_TRUE(Present(0));

    // Age comes before priority: an old entry of some depth goes before a fresh empty-handed one.
    SetTranspositionEntries(64);
    SearchStamp = 3;
    FillBucket(depths, moves);
    SearchStamp = 4;
    SetKey(InBucket(16, 2));
    TranspositionStore(0, 0, 0, TT_UPPER, 0, 0, 0);
    SetKey(InBucket(16, 3));
    TranspositionStore(0, 0, 0, TT_UPPER, 0, 0, 0);
    SetKey(InBucket(16, 4));
    TranspositionStore(0, G1F3, 0, TT_UPPER, 0, 0, 0);
    EXPECT_FALSE(Present(0));
    EXPECT_TRUE(Present(1));
    EXPECT_TRUE(Present(2));
}

TEST_F(ReplacementTest, TheBucketFillsFromTheFrontAndAMatchIsFoundBehindOthers) {
    SetKey(InBucket(16, 0));
    TranspositionStore(4, E2E4, 0, TT_EXACT, 0, 0, 0);
    SetKey(InBucket(16, 1));
    TranspositionStore(4, G1F3, 0, TT_EXACT, 0, 0, 0);
    EXPECT_EQ(Entry(17)->Info & TT_MOVE_MASK, G1F3);
    EXPECT_EQ(Entry(18)->Info, 0u);
    // The second position is updated in place, not copied over the older first one.
    SearchStamp = 8;
    TranspositionStore(8, 0, 5, TT_LOWER, 0, 0, 0);
    EXPECT_EQ(Entry(17)->LowerDepth, 8);
    EXPECT_EQ(Entry(16)->Info & TT_MOVE_MASK, E2E4);
    EXPECT_EQ(Entry(18)->Info, 0u);
    EXPECT_EQ(HashfullCount, 2);
}

// ---------------------------------------------------------------------------------------------
// Hashfull, clearing, the empty table

TEST_F(TranspositionTest, HashfullCountsNewPositionsOfThisSearch) {
    SetTranspositionEntries(1000);
    for (int i = 0; i < 25; i++) {
        SetKey(u64(i) * 8);
        TranspositionStore(4, E2E4, 0, TT_EXACT, 0, 0, 0);
        TranspositionStore(8, E2E4, 0, TT_EXACT, 0, 0, 0);
    }
    EXPECT_EQ(HashfullCount, 25);
    EXPECT_EQ(Hashfull(), 25);
    SearchStamp++;
    HashfullCount = 0;
    SetKey(0);
    TranspositionStore(12, E2E4, 0, TT_EXACT, 0, 0, 0);
    EXPECT_EQ(HashfullCount, 0);
    SetKey(InBucket(8, 1));
    TranspositionStore(12, E2E4, 0, TT_EXACT, 0, 0, 0);
    EXPECT_EQ(HashfullCount, 1);
    EXPECT_EQ(Hashfull(), 1);
}

TEST_F(TranspositionTest, ClearingForgetsEverything) {
    SetKey(50);
    TranspositionStore(8, E2E4, 0, TT_EXACT, 0, 0, 0);
    HashfullCount = 3;
    LastScore     = 250;
    LastScoreSide = BLACK;
    CommandLine   = "clean";
    ExecuteCommand();
    EXPECT_EQ(Probe(0, -INF, INF).kind, 0);
    EXPECT_EQ(SearchStamp, 0);
    EXPECT_EQ(HashfullCount, 0);
    EXPECT_EQ(LastScore, 0);
    EXPECT_EQ(LastScoreSide, 0);
    EXPECT_EQ(Entry(0)->Key, ~0ULL);
    for (int i = 1; i < 64 + TT_SPARE_ENTRIES; i++) EXPECT_EQ(Entry(i)->Key, 0u);
}

TEST_F(TranspositionTest, ATableOfNoEntriesIsPassedOver) {
    SetTranspositionSize(0);
    EXPECT_EQ(TranspositionEntries, 0);
    EXPECT_EQ(TranspositionTable, nullptr);
    SetKey(60);
    TranspositionStore(8, E2E4, 10, TT_EXACT, 1, 0, 0);
    ProbeResult r = Probe(0, 5, 20);
    EXPECT_EQ(r.kind, 0);
    EXPECT_EQ(r.move, 0u);
    EXPECT_EQ(r.alpha, 5);
    EXPECT_EQ(r.mateThreat, 0);
    int alpha = 5, cutoff = 1, memo = 9, floor = 0;
    Move move = 1;
    EXPECT_EQ(QuiesceProbe(&alpha, 20, &move, &cutoff, 0, 0, &memo, &floor), 0);
    EXPECT_EQ(floor, -MATE);
    EXPECT_EQ(RootProbe(&alpha, 20, &move, &cutoff, 0, 0), 0);
    EXPECT_EQ(TableMove(), 0u);
    EXPECT_EQ(HashfullCount, 0);
    EXPECT_EQ(Hashfull(), 0);
    ResetAll();
    AllocateTables();
    EXPECT_EQ(TranspositionTable, nullptr);
    // And back to a working table.
    SetTranspositionSize(1);
    TranspositionStore(8, E2E4, 10, TT_EXACT, 0, 0, 0);
    EXPECT_EQ(TableMove(), E2E4);
}

using TranspositionDeathTest = TranspositionTest;

TEST_F(TranspositionDeathTest, AFailedAllocationEndsTheProcess) {
#if defined(__SANITIZE_ADDRESS__)
    GTEST_SKIP() << "the address sanitizer refuses huge allocations by aborting";
#else
    EXPECT_EXIT(
        {
            dup2(2, 1);
            SetTranspositionEntries(int64_t(1) << 42);
        },
        ::testing::ExitedWithCode(1), "An error occured while memory allocation!");
#endif
}

} // namespace
