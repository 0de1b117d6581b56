// The transposition table: what each bound may decide, mate distances across plies, replacement
// by age and depth, clearing and the empty table.
#include <gtest/gtest.h>

#include "frontend/command.h"
#include "board/ordering.h"
#include "board/ply.h"
#include "frontend/input.h"
#include "search/search.h"
#include "search/tables.h"
#include "search/tt.h"
#include "tests/support/engine_setup.h"

namespace {

constexpr int INF = MATE_SCORE;
const Move E2E4   = MakeMoveWord(12, 28, PAWN);
const Move G1F3   = MakeMoveWord(6, 21, KNIGHT);

// The position reduced to its key, so that a test can aim at a bucket: keys sharing the low 32 bits
// share the bucket.
void SetKey(uint32_t bucket, uint32_t n = 0) {
    thread_board.CastleRights = 0;
    HistoryCount              = 0;
    thread_board.HashKey      = ((u64(n + 1) << 32) | bucket) ^ ZobristCastle[0];
}

struct Probed {
    int kind, alpha, cutoff, allowNull = 1, mateThreat = 0;
    Move move;
};
Probed Probe(int depth, int alpha, int beta, int isPv = 0, int ply = 0) {
    Probed r{};
    r.alpha = alpha;
    SingularData singular;
    r.kind = TranspositionProbe(depth, &r.alpha, beta, &r.mateThreat, &r.move, &r.allowNull, &r.cutoff, isPv, ply,
                                &singular);
    return r;
}

// Present without a probe, which would refresh the stamp.
bool Present(uint32_t bucket, uint32_t n) {
    const u64 key = (u64(n + 1) << 32) | bucket;
    for (uint32_t i = bucket; i < bucket + TT_BUCKET_SIZE; i++)
        if (TranspositionTable[i].Info && TranspositionTable[i].Key == key) return true;
    return false;
}

class TranspositionTest : public ::testing::Test {
  protected:
    void SetUp() override {
        FreshEngine();
        SetTranspositionEntries(64);
        SearchStamp = 7;
    }
    void TearDown() override { SetTranspositionEntries(TT_DEFAULT_ENTRIES); }
};

TEST_F(TranspositionTest, EachBoundCutsOnlyOnItsSideAndDeepEnough) {
    SetKey(20);
    Probed r = Probe(8, 10, 20);
    EXPECT_EQ(r.kind, 0);
    EXPECT_EQ(r.move, 0u);
    EXPECT_EQ(r.alpha, 10);
    TranspositionStore(16, E2E4, 150, TT_LOWER, 0, 0, 0);
    r = Probe(16, 50, 100);
    EXPECT_EQ(r.kind, TT_LOWER);
    EXPECT_EQ(r.cutoff, 1);
    EXPECT_EQ(r.alpha, 150);
    EXPECT_EQ(r.move, E2E4);
    EXPECT_EQ(Probe(20, 50, 100).cutoff, 0);    // too shallow
    EXPECT_EQ(Probe(16, 50, 151).cutoff, 0);    // below beta
    EXPECT_EQ(Probe(16, 50, 100, 1).cutoff, 0); // a PV node takes no bound
    EXPECT_EQ(Probe(20, 50, 100).move, E2E4);

    SetKey(21);
    TranspositionStore(16, 0, -40, TT_UPPER, 0, 0, 0);
    r = Probe(12, 0, 10);
    EXPECT_EQ(r.kind, TT_UPPER);
    EXPECT_EQ(r.cutoff, 1);
    EXPECT_EQ(r.alpha, -40);
    EXPECT_EQ(Probe(12, -41, 10).cutoff, 0);    // above alpha
    EXPECT_EQ(Probe(12, -40, 10).cutoff, 1);
    EXPECT_EQ(Probe(12, 0, 10, 1).cutoff, 0);
    EXPECT_EQ(Probe(40, 0, 100).allowNull, 0);   // known to stay below beta: no null move
    EXPECT_EQ(Probe(40, 0, -40).allowNull, 1);

    SetKey(22); // an exact score decides at PV nodes too, whatever the window
    TranspositionStore(16, G1F3, 77, TT_EXACT, 1, 0, 0);
    r = Probe(16, 100, 200, 1);
    EXPECT_EQ(r.kind, TT_EXACT);
    EXPECT_EQ(r.alpha, 77);
    EXPECT_EQ(r.mateThreat, 1);
    EXPECT_EQ(Probe(17, -INF, INF, 1).cutoff, 0);

    // The three bounds live side by side; at equal depth the tighter one stays, a deeper one replaces.
    SetKey(23);
    TranspositionStore(12, E2E4, 40, TT_UPPER, 0, 0, 0);
    TranspositionStore(16, G1F3, 90, TT_LOWER, 0, 0, 0);
    TranspositionStore(8, 0, 60, TT_EXACT, 0, 0, 0);
    TranspositionStore(12, 0, 50, TT_UPPER, 0, 0, 0);
    TranspositionStore(16, 0, 80, TT_LOWER, 0, 0, 0);
    EXPECT_EQ(Probe(12, 45, 100).alpha, 40);
    EXPECT_EQ(Probe(16, 0, 85).alpha, 90);
    EXPECT_EQ(Probe(8, -INF, INF, 1).alpha, 60);
    EXPECT_EQ(Probe(8, -INF, INF, 1).move, G1F3); // a store without a move keeps the last one
    TranspositionStore(20, 0, -300, TT_LOWER, 0, 0, 0);
    EXPECT_EQ(Probe(20, -INF, -300).alpha, -300);
    EXPECT_EQ(Probe(20, -INF, -299).cutoff, 0);
}

// A mate found at one ply keeps its distance from the node when read at another; bounds are cut
// at the mate bound and never claim a mate.
TEST_F(TranspositionTest, MateScoresKeepTheirDistanceFromTheNode) {
    SetKey(40); // the side to move at ply 5 mates at ply 10: read at ply 9 it mates at ply 14
    TranspositionStore(8, 0, MATE_SCORE - 10, TT_EXACT, 0, 0, 5);
    EXPECT_EQ(Probe(8, -INF, INF, 1, 9).alpha, MATE_SCORE - 14);
    EXPECT_EQ(Probe(8, -INF, INF, 1, 1).alpha, MATE_SCORE - 6);
    SetKey(41);
    TranspositionStore(8, 0, -(MATE_SCORE - 10), TT_EXACT, 0, 0, 5);
    EXPECT_EQ(Probe(8, -INF, INF, 1, 9).alpha, -(MATE_SCORE - 14));
    for (int ply : {0, 1, 17, 100, 249})
        for (int value : {MATE_SCORE - ply - 1, -(MATE_SCORE - ply - 2), 31001, -31001, 31000, -31000, 0, 555}) {
            SetKey(42);
            TranspositionStore(255, 0, value, TT_EXACT, 0, 0, ply);
            EXPECT_EQ(Probe(8, -INF, INF, 1, ply).alpha, value) << "ply " << ply;
        }
    SetKey(44);
    TranspositionStore(8, 0, MATE_SCORE - 3, TT_LOWER, 0, 0, 2);
    EXPECT_EQ(Probe(8, 0, MATE_BOUND, 0, 7).alpha, MATE_BOUND);
    EXPECT_EQ(Probe(8, 0, MATE_BOUND + 1, 0, 7).cutoff, 0);
    TranspositionStore(8, 0, -(MATE_SCORE - 3), TT_UPPER, 0, 0, 2);
    EXPECT_EQ(Probe(8, -MATE_BOUND, 0, 0, 7).alpha, -MATE_BOUND);
}

TEST_F(TranspositionTest, OlderEntriesGoFirstThenTheShallowest) {
    // A full bucket of this search gives way only to a result as deep as its shallowest entry.
    for (uint32_t n = 0; n < 4; n++) {
        SetKey(16, n);
        TranspositionStore(n == 0 ? 8 : 12, E2E4, 0, TT_EXACT, 0, 0, 0);
    }
    SetKey(16, 4);
    TranspositionStore(4, G1F3, 0, TT_LOWER, 0, 0, 0);
    EXPECT_FALSE(Present(16, 4));
    TranspositionStore(8, G1F3, 0, TT_LOWER, 0, 0, 0);
    EXPECT_TRUE(Present(16, 4));
    EXPECT_FALSE(Present(16, 0));
    EXPECT_EQ(HashfullCount, 4); // taking an entry of this search is no new use of the table

    // In a new search the entries not seen again go first, however deep.
    SearchStamp++;
    HashfullCount = 0;
    for (uint32_t n : {1u, 4u}) {
        SetKey(16, n);
        Probe(0, -INF, INF);
    }
    SetKey(16, 5);
    TranspositionStore(0, G1F3, 0, TT_UPPER, 0, 0, 0);
    EXPECT_TRUE(Present(16, 5));
    EXPECT_TRUE(Present(16, 1));
    EXPECT_TRUE(Present(16, 4));
    EXPECT_EQ(int(Present(16, 2)) + int(Present(16, 3)), 1);
    EXPECT_EQ(HashfullCount, 1);
}

TEST_F(TranspositionTest, CleanForgetsEverything) {
    SetKey(50);
    TranspositionStore(8, E2E4, 0, TT_EXACT, 0, 0, 0);
    CommandLine = "clean";
    ExecuteCommand();
    EXPECT_EQ(Probe(0, -INF, INF).kind, 0);
    EXPECT_EQ(SearchStamp, 0);
    EXPECT_EQ(HashfullCount, 0);
}

} // namespace
