// Pawns and kings: each kind of pawn found where it stands, the pawn hash and its memo against a
// fresh look, the attack maps against a plain count, the exchange test, the cover of a king, and
// what `evl` prints of it.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <map>
#include <random>
#include <sstream>

#include "eval/evaluate.h"
#include "eval/king.h"
#include "eval/params.h"
#include "search/tables.h"
#include "tests/support/engine_setup.h"

namespace {

class PawnsKingTest : public ::testing::Test {
  protected:
    void SetUp() override { FreshEngine(); }
    void TearDown() override { RestoreDefaultParameters(), BuildDerivedTables(), PackEvaluationTables(); }
};

const PawnHashEntry& Structure(const std::string& fen) {
    Load(fen);
    ClearPawnHash();
    EvaluatePawns();
    return thread_eval_info.PawnMemo;
}

const EvalInfo& Full(const std::string& fen) {
    Load(fen);
    EngineSide = thread_board.SideToMove;
    int result = EVAL_UNKNOWN;
    EvaluateFull(&result);
    return thread_eval_info;
}

// With the kind's table alone at 1 in its midgame half: Black's pawns of that kind less White's,
// negative for the penalties.
int Count(const std::string& fen, int32_t* table) {
    const int size = table == PawnConnectedMgSource ? 20 : 64;
    std::fill(table, table + size, 1);
    BuildDerivedTables();
    PackEvaluationTables();
    const int count = PairMidgame(Structure(fen).PawnScore);
    std::fill(table, table + size, 0);
    return count;
}

TEST_F(PawnsKingTest, EachKindOfPawnIsFoundWhereItStands) {
    const std::tuple<const char*, int32_t*, int> cases[] = {
        {"4k3/8/8/3pp3/8/8/8/4K3 w - - 0 1", PawnConnectedMgSource, 2},  // side by side
        {"4k3/8/2p5/3p4/8/8/8/4K3 w - - 0 1", PawnConnectedMgSource, 1}, // only the one in front
        {"4k3/8/p7/7p/8/8/8/4K3 w - - 0 1", PawnConnectedMgSource, 0},   // a and h files never touch
        {"4k3/8/8/8/2P5/8/2P5/4K3 w - - 0 1", PawnDoubledMg, 1},         // c4 has the friend behind
        {"4k3/8/1p6/8/8/8/8/4K3 w - - 0 1", PawnIsolatedOpenMg, -1},
        {"4k3/8/1p6/8/8/1P6/P1P5/4K3 w - - 0 1", PawnIsolatedClosedMg, -1},
        // From its home rank c7 catches up with d5 by a double step, unless b4 guards c5.
        {"4k3/2p5/8/3p4/8/8/8/4K3 w - - 0 1", PawnBackwardOpenMg, 0},
        {"4k3/2p5/8/3p4/1P6/8/8/4K3 w - - 0 1", PawnBackwardOpenMg, -1},
        {"4k3/2p5/8/3p4/1P6/8/2PP4/4K3 w - - 0 1", PawnBackwardClosedMg, -1},
        {"4k3/8/8/2pp4/8/3P4/8/4K3 w - - 0 1", PawnCandidateMg, 1},   // c5 with d5 against d3
        {"4k3/8/8/8/1ppp4/1P6/8/4K3 w - - 0 1", PawnCandidateMg, 0},  // b3 attacks c4, nothing defends it
        {"4k3/8/8/8/1p6/p7/P7/4K3 w - - 0 1", PawnLeverSupportMg, 1}, // b4 breaks through to b3
        {"4k3/8/8/8/1p6/p7/P1P5/4K3 w - - 0 1", PawnLeverSupportMg, 0},
    };
    for (auto [fen, table, count] : cases) EXPECT_EQ(Count(fen, table), count) << fen;
    for (int i = 0; i < 9; i++) PawnSpanMg[i] = i; // widths: a to h against the d file alone
    PackEvaluationTables();
    EXPECT_EQ(PairMidgame(Structure("4k3/p6p/8/8/8/8/3P4/4K3 w - - 0 1").PawnScore), 8 - 1);

    EXPECT_EQ(Structure("4k3/8/1p6/8/8/1P6/P1P5/4K3 w - - 0 1").WeakFiles[BLACK], 0); // b6 is closed
    const PawnHashEntry& memo = Structure("4k3/2p5/8/3p4/1P6/8/8/4K3 w - - 0 1");
    EXPECT_EQ(memo.WeakFiles[BLACK] + (memo.WeakFiles[WHITE] << 8), 0b100 + (0b10 << 8));
    EXPECT_EQ(memo.PawnFiles[BLACK] + (memo.PawnFiles[WHITE] << 8), 0b1100 + (0b10 << 8));
    EXPECT_EQ(memo.PassedVector[BLACK] + (memo.PassedVector[WHITE] << 8), 0b1000); // b4 meets c7
    // A doubled passer: one file bit, both pawns passed.
    EXPECT_EQ(Structure("4k3/8/8/3p4/3p4/8/6P1/4K3 w - - 0 1").PassedVector[BLACK], 0b1000);
    EXPECT_EQ(thread_eval_info.PassedPawns[BLACK], thread_board.Pieces[PAWN][BLACK]);
    EXPECT_EQ(ShelterFileCode(WHITE, 6), 0 + 4); // g2 at home, no black g pawn
    Load("4k3/6p1/8/8/8/7P/8/4K3 w - - 0 1");    // h3 facing no h pawn, no black h pawn, g7 at home
    EXPECT_EQ(ShelterFileCode(WHITE, 7) * 100 + ShelterFileCode(BLACK, 7) * 10 + ShelterFileCode(BLACK, 6),
              534);
}

// Random weights in every pawn table; the structures of the suites are scored with the table off
// in one order, then through a small table in another, each twice: the memo, a slot and a fresh
// look all give the same 22 bytes and passers.
TEST_F(PawnsKingTest, ThePawnTableAndItsMemoGiveBackAFreshLook) {
    std::mt19937 random(3);
    for (int i = 0; i < 64; i++)
        PawnCandidateMg[i] = int(random() % 41) - 20, PawnDoubledEg[i] = int(random() % 41);
    BuildDerivedTables();
    PackEvaluationTables();
    auto seen = [] { // the memo's bytes, and the passers
        const EvalInfo& e = thread_eval_info;
        return std::string(reinterpret_cast<const char*>(&e.PawnMemo), sizeof(PawnHashEntry)) +
               std::to_string(e.PassedPawns[WHITE] ^ (e.PassedPawns[BLACK] << 1));
    };
    SetPawnHashSize(0);
    std::vector<std::string> fens = SuiteFens();
    std::map<std::string, std::string> fresh;
    for (const std::string& fen : fens) Load(fen), EvaluatePawns(), fresh[fen] = seen();
    PawnHashEntries = 1021;
    ASSERT_TRUE(AllocatePawnHash());
    std::shuffle(fens.begin(), fens.end(), random);
    for (int round = 0; round < 4; round++)
        for (const std::string& fen : fens) {
            Load(fen);
            for (int again = 0; again < 2; again++) { // a slot or a fresh look, then the memo
                EvaluatePawns();
                ASSERT_EQ(seen(), fresh[fen]) << fen;
            }
        }
}

// Where the pieces are walked, every square a side attacks is in its map, and nothing else; the
// exchange tests on the way leave the position as it was.
TEST_F(PawnsKingTest, AttackMapsHoldWhatEveryManAttacks) {
    int walked = 0;
    for (const std::string& fen : SuiteFens()) {
        Load(fen);
        Position before      = thread_board;
        const EvalInfo& e    = Full(fen);
        const Position& b    = thread_board;
        before.current_phase = b.current_phase, before.white_phase = b.white_phase;
        before.black_phase = b.black_phase;
        ASSERT_EQ(std::memcmp(&before, &b, sizeof(Position)), 0) << fen;
        if (!e.KingRing[WHITE] ||
            b.MinorCount[WHITE] + b.HeavyCount[WHITE] + b.MinorCount[BLACK] + b.HeavyCount[BLACK] == 0)
            continue;
        walked++;
        for (int side = WHITE; side <= BLACK; side++)
            for (int sq = 0; sq < 64; sq++)
                ASSERT_EQ((e.AttackMaps[side] >> sq) & 1, u64(SlowSquareAttacked(sq, side)))
                    << fen << " " << sq;
    }
    EXPECT_GT(walked, 2000);
}

// For the knight that Black's move does not concern: taking a man worth as much is safe whatever
// defends it, f5 is guarded by a pawn. The side to move is put back.
TEST_F(PawnsKingTest, ExchangeIsSafeOnATargetSquare) {
    Load("4k3/8/2p3p1/3b4/8/4N3/8/4K3 b - - 0 1");
    const int d5 = 35, e3 = 20, f5 = 37;
    EXPECT_EQ(ExchangeIsSafe(d5, e3) * 10 + ExchangeIsSafe(f5, e3), 10);
    EXPECT_EQ(thread_board.SideToMove, BLACK);
}

// A bishop on f3 in front of a king whose g pawn is gone costs cover while the enemy has a queen;
// a king whose enemy lacks the force to attack is not graded.
TEST_F(PawnsKingTest, TheCoverOfAKing) {
    auto grade = [](const std::string& fen) { return Full(fen).shelter_penalty[WHITE]; };
    EXPECT_GT(grade("rn1qk2r/8/8/8/8/5b2/5P1P/6K1 w - - 0 1"),
              grade("rn1qk2r/1b6/8/8/8/8/5P1P/6K1 w - - 0 1"));
    EXPECT_EQ(grade("rn2k2r/8/8/8/8/5b2/5P1P/6K1 w - - 0 1"), grade("rn2k2r/1b6/8/8/8/8/5P1P/6K1 w - - 0 1"));
    const EvalInfo& lone = Full("4k3/7r/8/8/8/8/5PP1/6K1 w - - 0 1");
    EXPECT_EQ(lone.shelter_penalty[WHITE] + lone.danger[BLACK], 0);
}

// The numbers of evl for a king in the open and its mirror image: the same score, the two sides'
// grades and dangers exchanged, the attack lines alike.
TEST_F(PawnsKingTest, EvlPrintsBothKingsAsTheyStand) {
    auto lines = [](const std::string& position) {
        Load(position);
        std::istringstream text(Printed([] { PrintEvaluation(); }));
        std::vector<std::vector<int>> numbers;
        for (std::string line; std::getline(text, line);) {
            numbers.emplace_back();
            for (size_t at = line.find(" = "); at != std::string::npos; at = line.find(" = ", at + 1))
                numbers.back().push_back(std::atoi(line.c_str() + at + 3));
        }
        return numbers;
    };
    const std::string fen = "r5k1/5ppp/3b4/8/7q/8/PPP5/R2Q2K1 w - - 0 1";
    const auto p = lines(fen), m = lines(Mirrored(fen));
    ASSERT_EQ(p.size(), 11u);
    ASSERT_EQ(m.size(), 11u);
    EXPECT_GT(p[5][1], p[5][0]); // shelter_penalty[WHITE] above Black's
    EXPECT_GT(p[6][0], p[6][1]); // danger[BLACK] above White's
    EXPECT_GT(p[8][0], p[7][0]); // Black's attack above White's
    for (int line : {5, 6, 9}) EXPECT_EQ(p[line], (std::vector<int>{m[line][1], m[line][0]})) << line;
    for (int line : {0, 7, 8, 10}) EXPECT_EQ(p[line], m[line]) << line;
}

} // namespace
