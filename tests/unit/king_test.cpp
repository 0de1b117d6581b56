// King safety: the attack maps against a plain count of attacked squares, the exchange test on
// a target square, the pawn cover of a king, and what `evl` prints of it.
#include <gtest/gtest.h>

#include <cstring>
#include <sstream>

#include "eval/evaluate.h"
#include "eval/king.h"
#include "tests/support/engine_setup.h"

namespace {

class KingTest : public ::testing::Test {
  protected:
    void SetUp() override { FreshEngine(); }
};

const EvalInfo& Full(const std::string& fen) {
    Load(fen);
    EngineSide = thread_board.SideToMove;
    int result = EVAL_UNKNOWN;
    EvaluateFull(&result);
    return thread_eval_info;
}

// Where the pieces are walked, every square a side attacks is in its map, and nothing else; the
// exchange tests on the way leave the position as it was.
TEST_F(KingTest, AttackMapsHoldWhatEveryManAttacks) {
    int walked = 0;
    for (const std::string& fen : SuiteFens()) {
        Load(fen);
        Position before      = thread_board;
        const EvalInfo& e    = Full(fen);
        const Position& b    = thread_board;
        before.current_phase = b.current_phase, before.white_phase = b.white_phase,
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

TEST_F(KingTest, ExchangeIsSafeOnATargetSquare) {
    auto safe = [](const std::string& fen, int target, int from) {
        Load(fen);
        const int side    = thread_board.SideToMove;
        const int verdict = ExchangeIsSafe(target, from);
        EXPECT_EQ(thread_board.SideToMove, side);
        return verdict;
    };
    const int d2 = 11, d5 = 35, e3 = 20, f5 = 37;
    // Taking a man worth as much is safe whatever defends it; a pawn guards f5 against the knight.
    EXPECT_EQ(safe("4k3/8/2p3p1/3b4/8/4N3/8/4K3 b - - 0 1", d5, e3), 1);
    EXPECT_EQ(safe("4k3/8/2p3p1/3b4/8/4N3/8/4K3 b - - 0 1", f5, e3), 0);
    // The queen behind the rook takes back on d5.
    EXPECT_EQ(safe("3rk3/8/8/8/8/8/3R4/3QK3 w - - 0 1", d5, d2), 1);
    EXPECT_EQ(safe("3rk3/8/8/8/8/8/3R4/4K3 w - - 0 1", d5, d2), 0);
}

// A bishop on f3 in front of a king whose g pawn is gone costs cover while the enemy has a queen;
// a king whose enemy lacks the force to attack is not graded.
TEST_F(KingTest, TheCoverOfAKing) {
    auto grade = [](const std::string& fen) { return Full(fen).shelter_penalty[WHITE]; };
    EXPECT_GT(grade("rn1qk2r/8/8/8/8/5b2/5P1P/6K1 w - - 0 1"),
              grade("rn1qk2r/1b6/8/8/8/8/5P1P/6K1 w - - 0 1"));
    EXPECT_EQ(grade("rn2k2r/8/8/8/8/5b2/5P1P/6K1 w - - 0 1"), grade("rn2k2r/1b6/8/8/8/8/5P1P/6K1 w - - 0 1"));
    const EvalInfo& lone = Full("4k3/7r/8/8/8/8/5PP1/6K1 w - - 0 1");
    EXPECT_EQ(lone.shelter_penalty[WHITE] + lone.danger[BLACK], 0);
}

// The numbers of evl for a king in the open and its mirror image: the same score, the two sides'
// grades and dangers exchanged, the attack lines alike.
TEST_F(KingTest, EvlPrintsBothKingsAsTheyStand) {
    const std::string fen = "r5k1/5ppp/3b4/8/7q/8/PPP5/R2Q2K1 w - - 0 1";
    auto lines            = [](const std::string& position) {
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
