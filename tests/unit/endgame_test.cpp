// Endgame knowledge against the Syzygy tables: the rook-against-pawn table and its verdicts, the
// decided endings with their sign and side to move, the scaling factors; and a fixed-depth search
// that mates with queen, rook, and bishop and knight against a defender that plays the tables.
#include <gtest/gtest.h>

#include <random>

#include "board/geometry.h"
#include "board/makemove.h"
#include "board/ply.h"
#include "eval/endgame.h"
#include "eval/evaluate.h"
#include "eval/krkp.h"
#include "eval/params.h"
#include "eval/values.h"
#include "search/search.h"
#include "tablebases/tbprobe.h"
#include "tests/support/engine_setup.h"

namespace {

class EndgameTest : public ::testing::Test {
  protected:
    void SetUp() override {
        FreshEngine();
        std::snprintf(EgtbPath, EGTB_PATH_SIZE, "%s", DataPath("syzygy").c_str());
        Printed([] { OpenTablebases(); });
    }
    void TearDown() override {
        RestoreDefaultParameters();
        Printed([] { LoadEvaluationValues(); });
        std::snprintf(EgtbPath, EGTB_PATH_SIZE, "%s", "<empty>");
        Printed([] { OpenTablebases(); });
    }
};

// Win-draw-loss for the side to move, the fifty-move rule left out.
int Wdl(const std::string& fen) {
    Load(fen);
    int success   = 0;
    const int wdl = ProbeWdlInSearch(&success);
    EXPECT_TRUE(success) << fen;
    return wdl > 0 ? 1 : wdl < 0 ? -1 : 0;
}

// The evaluation of the side to move; `decided` tells whether it ended before the material step
// (which is what sets the phases).
int Evaluated(const std::string& fen, bool* decided = nullptr) {
    Load(fen);
    thread_board.current_phase = -1;
    EngineSide                 = thread_board.SideToMove;
    int result                 = EVAL_UNKNOWN;
    EvaluateFull(&result);
    if (decided) *decided = thread_board.current_phase == -1;
    return result;
}

std::string Fen(const std::vector<std::pair<int, char>>& men, char side) {
    char board[64];
    std::fill(board, board + 64, '1');
    for (auto [square, man] : men) board[square] = man;
    std::string fen;
    for (int rank = 7; rank >= 0; rank--) {
        fen.append(board + rank * 8, 8);
        if (rank) fen += '/';
    }
    return fen + ' ' + side + " - - 0 1";
}

// A sample of the rook-against-pawn table, both colours and both wings: the bit says held
// exactly where the tablebase says the rook's side, to move, does not win. With the pawn's side
// to move, a draw named by EvaluateKrkp is a draw, and most draws are named.
TEST_F(EndgameTest, RookAgainstPawnAgreesWithTheTablebase) {
    std::mt19937 random(15);
    int held = 0, won = 0, named = 0, draws = 0;
    for (int n = 0; n < 6000; n++) {
        const int pawn = 8 + int(random() % 48), rook = int(random() % 64);
        const int pk = int(random() % 64), rk = int(random() % 64);
        const bool black = random() % 2, pawnMoves = random() % 2;
        if (pawn == rook || pawn == pk || pawn == rk || rook == pk || rook == rk || pk == rk) continue;
        if (KingAttacks[pk] & Bit(rk)) continue;
        const char pawnSide = black ^ pawnMoves ? 'w' : 'b';
        const std::string fen = Fen({{pawn, black ? 'p' : 'P'}, {pk, black ? 'k' : 'K'}, {rook, black ? 'R' : 'r'},
                                     {rk, black ? 'K' : 'k'}}, pawnSide);
        if (!TryLoad(fen)) continue;
        const int rank = black ? 7 - RankOf(pawn) : RankOf(pawn);
        const int verdict = EvaluateKrkp(pawn, rook);
        const int wdl     = Wdl(fen);
        if (!pawnMoves) {
            ASSERT_EQ(verdict, rank < 3 ? 2 : wdl > 0 ? 0 : 1) << fen;
            (verdict == 1 ? held : won) += rank >= 3;
        } else {
            if (verdict == 1) {
                ASSERT_GE(wdl, 0) << fen;
            }
            draws += wdl >= 0;
            named += verdict == 1;
        }
    }
    EXPECT_GT(held, 150);
    EXPECT_GT(won, 700);
    EXPECT_GT(named, draws * 3 / 4) << named << " of " << draws;
}

// Decided endings: the value, its sign for both sides to move, and the tablebase where it can
// say. 'D' a draw, 'W' and 'L' a decided win or loss for the side to move, '+' and '-' a score
// that goes on to the full evaluation.
TEST_F(EndgameTest, DecidedEndingsForBothSidesToMove) {
    struct Case {
        const char* fen;
        char white, black; // the outcome with White and with Black to move; 'x' not tried
    };
    const Case cases[] = {
        {"4k3/8/8/8/8/8/8/4K3", 'D', 'D'},
        {"4k3/8/4K3/4P3/8/8/8/8", 'W', 'L'},            // king and pawn against king, won
        {"k7/8/8/8/8/8/P7/K7", 'D', 'D'},               // the rook pawn
        {"k7/8/8/P7/8/8/8/2B1K3", 'D', 'D'},            // the wrong bishop
        {"k7/8/8/P7/8/8/8/3BK3", '+', '-'},             // the right one
        {"8/8/8/8/7Q/7K/p7/1k6", 'D', 'D'},             // queen against the rook pawn on its seventh
        {"8/8/8/8/7Q/5K2/p7/1k6", 'D', 'D'},            // the queen's king on the edge of reach
        {"8/8/8/8/7Q/4K3/p7/1k6", '+', 'D'},            // a tempo decides
        {"8/8/8/8/7Q/2K5/p7/1k6", '+', '-'},            // the queen's king close enough
        {"7R/6K1/8/8/8/8/1kp5/8", 'D', 'x'},            // rook against a pawn its king escorts
        {"6r1/8/8/8/8/7k/8/7K", 'D', '+'},              // only the king can move: stalemate
        {"8/8/8/8/8/7k/8/r6K", 'L', 'x'},               // and mate
        {"6r1/8/8/8/1pn5/1P5k/8/7K", 'D', '+'},         // a blocked pawn that could take still stalemates
        {"8/8/4k3/8/p3P3/8/8/7K", 'L', 'W'},            // a blocked lone pawn against one that runs
        {"1b5k/8/8/8/4P3/3B4/8/4K3", 'D', 'D'},         // opposite bishops, the pawn's path covered
    };
    for (const Case& c : cases)
        for (char side : {'w', 'b'}) {
            const std::string fen = std::string(c.fen) + ' ' + side + " - - 0 1";
            if (!TryLoad(fen)) continue;
            const char expect = side == 'w' ? c.white : c.black;
            if (expect == 'x') continue;
            bool decided      = false;
            const int score   = Evaluated(fen, &decided);
            switch (expect) {
            case 'D': EXPECT_TRUE(decided && score == 0) << fen << ": " << score; break;
            case 'W': EXPECT_TRUE(decided && score > 500) << fen << ": " << score; break;
            case 'L': EXPECT_TRUE(decided && score < -500) << fen << ": " << score; break;
            case '+': EXPECT_TRUE(!decided && score > 0) << fen << ": " << score; break;
            case '-': EXPECT_TRUE(!decided && score < 0) << fen << ": " << score; break;
            }
            // The tablebase agrees with every verdict it can check.
            if (thread_board.MenCount <= 4 && expect != '+' && expect != '-') {
                EXPECT_EQ(Wdl(fen), expect == 'D' ? 0 : expect == 'W' ? 1 : -1) << fen;
            }
        }
    // A mate found by the evaluation is a mate from the current ply.
    Ply = 7;
    EXPECT_EQ(Evaluated("8/8/8/8/8/7k/8/r6K w - - 0 1"), 7 - MATE_SCORE);
    Ply = 0;
}

// The king with nothing is driven towards an edge, and against bishop and knight towards a corner
// of the bishop's colour.
TEST_F(EndgameTest, MatingForceDrivesTheKingToTheRightCorner) {
    // Rook: the corner beats the centre for White.
    EXPECT_GT(Evaluated("k7/8/8/8/8/8/8/4K2R w - - 0 1"), Evaluated("8/8/8/3k4/8/8/8/4K2R w - - 0 1") + 50);
    // Dark bishop: h8 and a1 are its corners, a8 and h1 are not.
    const int right = Evaluated("7k/8/8/8/8/8/8/2B1KN2 w - - 0 1"), wrong = Evaluated("k7/8/8/8/8/8/8/2B1KN2 w - - 0 1");
    EXPECT_GT(right, wrong + 100);
}

// Scaling: after the other rules, rook and pawn against rook raises a cut-off or racing score
// by the built-in factors and halves one without an escort; a side that cannot win keeps no
// positive score.
TEST_F(EndgameTest, ScalingFactors) {
    // Neutral factors for the rules that would also act on these positions.
    OnePawnKingAhead = OnePawnKingAside = PawnsBehindKing = NoPawns5v5 = 256;
    auto scaled = [](const std::string& fen, int raw) {
        Evaluated(fen);
        thread_eval_info.RawScore  = raw;
        thread_eval_info.MirrorSum = 25600;
        int score                  = 25600 * (raw > 0 ? 1 : -1);
        ApplyScalingRules(&score);
        EXPECT_EQ(thread_eval_info.MirrorSum, std::abs(score)) << fen;
        return score;
    };
    EXPECT_EQ(scaled("3R4/8/1k6/4P3/3K4/8/8/r7 w - - 0 1", -1), -25600 * 342 / 256) << "cut off by the rook";
    EXPECT_EQ(scaled("7R/8/1k6/4P3/3K4/8/8/r7 w - - 0 1", -1), -25600 * 342 / 256) << "not cut off";
    EXPECT_EQ(scaled("k7/8/8/5R2/8/3K4/4P3/r7 w - - 0 1", -1), -25600 * 258 / 256) << "the king too far to race";
    EXPECT_EQ(scaled("k7/8/8/5R2/4P3/8/8/r5K1 w - - 0 1", -1), -25600 / 2) << "no escort";
    EXPECT_EQ(scaled("8/8/3k4/8/4P3/8/r7/4K2R w - - 0 1", -1), -25600 / 2) << "the king in front";
    // Knight against pawn: the knight's side cannot win.
    EXPECT_EQ(scaled("4k3/8/8/3n4/8/8/4P3/4K3 w - - 0 1", 1), 0);
    EXPECT_LT(scaled("4k3/8/8/3n4/8/8/4P3/4K3 w - - 0 1", -1), 0);
}

// A fixed-depth search without tables mates within a few moves of the tablebase distance against
// a defender that always picks the longest loss: queen and rook from the centre, bishop and
// knight from beside the corner of the bishop's colour.
TEST_F(EndgameTest, SearchMatesAgainstTheTablebaseDefence) {
    constexpr int SLACK = 4;
    for (const char* fen : {"8/8/8/3k4/8/8/8/Q3K3 w - - 0 1", "8/8/8/4k3/8/8/8/R3K3 w - - 0 1",
                            "8/1k6/8/2K5/8/8/8/3B1N2 w - - 0 1"}) {
        Load(fen);
        int success     = 0;
        const int plies = probe_dtz(&success);
        ASSERT_TRUE(success && plies > 0) << fen;
        const int limit = (plies + 1) / 2 + SLACK;
        bool mated      = false;
        int move        = 1;
        for (; move <= limit && !mated; move++) {
            const int tables = TbMaxMen;
            TbMaxMen         = 0;
            const Move best  = SearchToDepth(9).best;
            TbMaxMen         = tables;
            ASSERT_NE(best, 0u) << fen;
            MakeMove(best, 1);
            const std::vector<Move> replies = LegalMoves();
            if (replies.empty()) {
                mated = SlowSquareAttacked(thread_board.KingSquare[BLACK], WHITE);
                break;
            }
            // The reply that keeps the mate farthest away.
            Move longest = 0;
            int far      = 0;
            for (Move m : replies) {
                MakeMove(m, 1);
                const int dtz = probe_dtz(&success);
                UnmakeMove();
                ASSERT_TRUE(success);
                if (dtz > far) far = dtz, longest = m;
            }
            ASSERT_NE(longest, 0u) << "the win was lost in " << fen;
            MakeMove(longest, 1);
        }
        EXPECT_TRUE(mated) << fen << " not mated within " << limit << " moves";
        std::printf("%s: mate in %d moves, the tables' distance %d plies\n", fen, move, plies);
    }
}

} // namespace
