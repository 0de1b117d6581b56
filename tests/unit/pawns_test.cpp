// The pawn structure: each kind of pawn found where it stands and nowhere else, and the pawn hash
// and its memo giving back exactly what a fresh look at the pawns gives.
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>

#include "eval/evaluate.h"
#include "eval/params.h"
#include "search/tables.h"
#include "tests/support/engine_setup.h"

namespace {

class PawnsTest : public ::testing::Test {
  protected:
    void SetUp() override { FreshEngine(); }
    void TearDown() override {
        RestoreDefaultParameters();
        BuildDerivedTables();
        PackEvaluationTables();
        FreshEngine();
    }
};

const PawnHashEntry& Structure(const std::string& fen) {
    Load(fen);
    ClearPawnHash();
    EvaluatePawns();
    return thread_eval_info.PawnMemo;
}

// Black's pawns of one kind less White's: the kind's table alone weighs 1 in its midgame half
// (-1 for the penalties, which are subtracted).
int Count(const std::string& fen, int32_t* table, int size = 64) {
    const bool penalty = table == PawnDoubledMg || table == PawnIsolatedOpenMg ||
                         table == PawnIsolatedClosedMg || table == PawnBackwardOpenMg ||
                         table == PawnBackwardClosedMg;
    std::fill(table, table + size, penalty ? -1 : 1);
    BuildDerivedTables();
    PackEvaluationTables();
    const int count = PairMidgame(Structure(fen).PawnScore);
    std::fill(table, table + size, 0);
    BuildDerivedTables();
    PackEvaluationTables();
    return count;
}

TEST_F(PawnsTest, EachKindOfPawnIsFoundWhereItStands) {
    struct Case {
        const char* fen;
        int32_t* table;
        int count;
    } const cases[] = {
        {"4k3/8/8/3pp3/8/8/8/4K3 w - - 0 1", PawnConnectedMgSource, 2},  // side by side
        {"4k3/8/2p5/3p4/8/8/8/4K3 w - - 0 1", PawnConnectedMgSource, 1}, // only the one in front
        {"4k3/8/p7/7p/8/8/8/4K3 w - - 0 1", PawnConnectedMgSource, 0},   // a and h files never touch
        {"4k3/8/8/8/3PP3/8/8/4K3 w - - 0 1", PawnConnectedMgSource, -2},
        {"4k3/2p5/8/2p5/8/8/8/4K3 w - - 0 1", PawnDoubledMg, 1}, // the front pawn has the friend behind
        {"4k3/8/8/8/2P5/8/2P5/4K3 w - - 0 1", PawnDoubledMg, -1},
        {"4k3/8/1p6/8/8/8/8/4K3 w - - 0 1", PawnIsolatedOpenMg, 1},
        {"4k3/8/1p6/8/8/1P6/P1P5/4K3 w - - 0 1", PawnIsolatedClosedMg, 1},
        {"4k3/8/1p6/8/8/1P6/P1P5/4K3 w - - 0 1", PawnIsolatedOpenMg, 0},
        // From its home rank c7 catches up with d5 by a double step, unless b4 guards c5.
        {"4k3/2p5/8/3p4/8/8/8/4K3 w - - 0 1", PawnBackwardOpenMg, 0},
        {"4k3/2p5/8/3p4/1P6/8/8/4K3 w - - 0 1", PawnBackwardOpenMg, 1},
        {"4k3/2p5/8/3p4/1P6/8/2PP4/4K3 w - - 0 1", PawnBackwardClosedMg, 1},
        {"4k3/2p5/8/3p4/1P6/8/2PP4/4K3 w - - 0 1", PawnBackwardOpenMg, 0},
        {"4k3/8/8/2pp4/8/3P4/8/4K3 w - - 0 1", PawnCandidateMg, 1}, // c5 with d5 against d3
        {"4k3/8/8/2p5/8/3P4/8/4K3 w - - 0 1", PawnCandidateMg, 0},
        {"4k3/8/8/8/1ppp4/1P6/8/4K3 w - - 0 1", PawnCandidateMg, 0},  // b3 attacks c4, nothing defends it
        {"4k3/8/8/8/1p6/p7/P7/4K3 w - - 0 1", PawnLeverSupportMg, 1}, // b4 breaks through to b3
        {"4k3/8/8/8/1p6/p7/P1P5/4K3 w - - 0 1", PawnLeverSupportMg, 0},
    };
    for (const Case& c : cases) EXPECT_EQ(Count(c.fen, c.table), c.count) << c.fen;
    // Widths: a to h against the d file alone.
    for (int i = 0; i < 9; i++) PawnSpanMg[i] = i;
    PackEvaluationTables();
    EXPECT_EQ(PairMidgame(Structure("4k3/p6p/8/8/8/8/3P4/4K3 w - - 0 1").PawnScore), 8 - 1);

    const PawnHashEntry* memo = &Structure("4k3/8/1p6/8/8/1P6/P1P5/4K3 w - - 0 1");
    EXPECT_EQ(memo->WeakFiles[BLACK] | memo->WeakFiles[WHITE], 0); // b6 is isolated, not open
    memo = &Structure("4k3/2p5/8/3p4/1P6/8/8/4K3 w - - 0 1");
    EXPECT_EQ(memo->WeakFiles[BLACK], 0b100);
    EXPECT_EQ(memo->WeakFiles[WHITE], 0b10);
    EXPECT_EQ(memo->PawnFiles[BLACK], 0b1100);
    EXPECT_EQ(memo->PassedVector[BLACK], 0b1000); // d5; b4 has c7 in its way
    EXPECT_EQ(memo->PassedVector[WHITE], 0);
    // A doubled passer: one file bit, both pawns passed.
    memo = &Structure("4k3/8/8/3p4/3p4/8/6P1/4K3 w - - 0 1");
    EXPECT_EQ(memo->PassedVector[BLACK], 0b1000);
    EXPECT_EQ(thread_eval_info.PassedPawns[BLACK], thread_board.Pieces[PAWN][BLACK]);
    EXPECT_EQ(ShelterFileCode(WHITE, 6), 0 + 4); // g2 at home, no black g pawn
    Load("4k3/6p1/8/8/8/7P/8/4K3 w - - 0 1");
    EXPECT_EQ(ShelterFileCode(WHITE, 7), 1 + 4);
    EXPECT_EQ(ShelterFileCode(BLACK, 7), 3);
    EXPECT_EQ(ShelterFileCode(BLACK, 6), 0 + 4);
}

// Random weights in every pawn table; the structures of the suites are scored with the table off
// in one order, then through a small table in another, each twice: the memo, a slot and a fresh
// look all give the same 22 bytes and passers.
TEST_F(PawnsTest, TheTableAndTheMemoGiveBackAFreshLook) {
    std::mt19937 random(3);
    for (int32_t* table : {PawnLeverSupportMg, PawnDoubledEg, PawnIsolatedOpenMg, PawnIsolatedClosedEg,
                           PawnBackwardOpenMg, PawnBackwardClosedEg, PawnCandidateMg, PawnCandidateEg})
        for (int i = 0; i < 64; i++) table[i] = int(random() % 41) - 20;
    for (int i = 0; i < 20; i++) PawnConnectedMgSource[i] = int(random() % 21);
    for (int i = 0; i < 9; i++) PawnSpanMg[i] = int(random() % 21), PassedSpanEg[i] = int(random() % 21);
    for (int i = 0; i < 12; i++) ShelterFileParams[i] = int(random() % 9);
    BuildDerivedTables();
    PackEvaluationTables();

    std::vector<std::string> fens = SuiteFens();
    // The memo's bytes, and the passers.
    using Seen = std::pair<std::string, u64>;
    auto look  = [](const std::string& fen) {
        Load(fen);
        EvaluatePawns();
        const EvalInfo& e = thread_eval_info;
        return Seen{std::string(reinterpret_cast<const char*>(&e.PawnMemo), sizeof(PawnHashEntry)),
                    e.PassedPawns[WHITE] ^ (e.PassedPawns[BLACK] << 1)};
    };
    SetPawnHashSize(0);
    std::map<std::string, Seen> fresh;
    for (const std::string& fen : fens) fresh[fen] = look(fen);
    PawnHashEntries = 1021;
    ASSERT_TRUE(AllocatePawnHash());
    std::shuffle(fens.begin(), fens.end(), random);
    for (int round = 0; round < 2; round++)
        for (const std::string& fen : fens)
            for (int again = 0; again < 2; again++) {
                ASSERT_TRUE(look(fen) == fresh[fen]) << fen;
            }
}

// The table only saves work: a search sees the same scores with it, with a tiny one and without.
TEST_F(PawnsTest, NoTableSizeChangesASearch) {
    Load("r1bq1rk1/pp2ppbp/2np1np1/8/3NP3/2N1BP2/PPPQ2PP/R3KB1R w KQ - 0 1");
    const SearchOutcome usual = SearchToDepth(8);
    for (int mb : {0, 1}) {
        SetPawnHashSize(mb);
        const SearchOutcome other = SearchToDepth(8);
        EXPECT_EQ(other.nodes, usual.nodes) << mb << " MB";
        EXPECT_EQ(other.best, usual.best) << mb << " MB";
    }
}

} // namespace
